// The colors that have names.
namespace Zelmor.Imaging;

public partial struct Color
{
    [Implements("getsa_AliceBlue")]
    public static Color AliceBlue => new(System.Drawing.Color.AliceBlue);

    [Implements("getsa_AntiqueWhite")]
    public static Color AntiqueWhite => new(System.Drawing.Color.AntiqueWhite);

    [Implements("getsa_Aqua")]
    public static Color Aqua => new(System.Drawing.Color.Aqua);

    [Implements("getsa_Aquamarine")]
    public static Color Aquamarine => new(System.Drawing.Color.Aquamarine);

    [Implements("getsa_Azure")]
    public static Color Azure => new(System.Drawing.Color.Azure);

    [Implements("getsa_Beige")]
    public static Color Beige => new(System.Drawing.Color.Beige);

    [Implements("getsa_Bisque")]
    public static Color Bisque => new(System.Drawing.Color.Bisque);

    [Implements("getsa_Black")]
    public static Color Black => new(System.Drawing.Color.Black);

    [Implements("getsa_BlanchedAlmond")]
    public static Color BlanchedAlmond => new(System.Drawing.Color.BlanchedAlmond);

    [Implements("getsa_Blue")]
    public static Color Blue => new(System.Drawing.Color.Blue);

    [Implements("getsa_BlueViolet")]
    public static Color BlueViolet => new(System.Drawing.Color.BlueViolet);

    [Implements("getsa_Brown")]
    public static Color Brown => new(System.Drawing.Color.Brown);

    [Implements("getsa_BurlyWood")]
    public static Color BurlyWood => new(System.Drawing.Color.BurlyWood);

    [Implements("getsa_CadetBlue")]
    public static Color CadetBlue => new(System.Drawing.Color.CadetBlue);

    [Implements("getsa_Chartreuse")]
    public static Color Chartreuse => new(System.Drawing.Color.Chartreuse);

    [Implements("getsa_Chocolate")]
    public static Color Chocolate => new(System.Drawing.Color.Chocolate);

    [Implements("getsa_Coral")]
    public static Color Coral => new(System.Drawing.Color.Coral);

    [Implements("getsa_CornflowerBlue")]
    public static Color CornflowerBlue => new(System.Drawing.Color.CornflowerBlue);

    [Implements("getsa_Cornsilk")]
    public static Color Cornsilk => new(System.Drawing.Color.Cornsilk);

    [Implements("getsa_Crimson")]
    public static Color Crimson => new(System.Drawing.Color.Crimson);

    [Implements("getsa_Cyan")]
    public static Color Cyan => new(System.Drawing.Color.Cyan);

    [Implements("getsa_DarkBlue")]
    public static Color DarkBlue => new(System.Drawing.Color.DarkBlue);

    [Implements("getsa_DarkCyan")]
    public static Color DarkCyan => new(System.Drawing.Color.DarkCyan);

    [Implements("getsa_DarkGoldenrod")]
    public static Color DarkGoldenrod => new(System.Drawing.Color.DarkGoldenrod);

    [Implements("getsa_DarkGray")]
    public static Color DarkGray => new(System.Drawing.Color.DarkGray);

    [Implements("getsa_DarkGreen")]
    public static Color DarkGreen => new(System.Drawing.Color.DarkGreen);

    [Implements("getsa_DarkKhaki")]
    public static Color DarkKhaki => new(System.Drawing.Color.DarkKhaki);

    [Implements("getsa_DarkMagenta")]
    public static Color DarkMagenta => new(System.Drawing.Color.DarkMagenta);

    [Implements("getsa_DarkOliveGreen")]
    public static Color DarkOliveGreen => new(System.Drawing.Color.DarkOliveGreen);

    [Implements("getsa_DarkOrange")]
    public static Color DarkOrange => new(System.Drawing.Color.DarkOrange);

    [Implements("getsa_DarkOrchid")]
    public static Color DarkOrchid => new(System.Drawing.Color.DarkOrchid);

    [Implements("getsa_DarkRed")]
    public static Color DarkRed => new(System.Drawing.Color.DarkRed);

    [Implements("getsa_DarkSalmon")]
    public static Color DarkSalmon => new(System.Drawing.Color.DarkSalmon);

    [Implements("getsa_DarkSeaGreen")]
    public static Color DarkSeaGreen => new(System.Drawing.Color.DarkSeaGreen);

    [Implements("getsa_DarkSlateBlue")]
    public static Color DarkSlateBlue => new(System.Drawing.Color.DarkSlateBlue);

    [Implements("getsa_DarkSlateGray")]
    public static Color DarkSlateGray => new(System.Drawing.Color.DarkSlateGray);

    [Implements("getsa_DarkTurquoise")]
    public static Color DarkTurquoise => new(System.Drawing.Color.DarkTurquoise);

    [Implements("getsa_DarkViolet")]
    public static Color DarkViolet => new(System.Drawing.Color.DarkViolet);

    [Implements("getsa_DeepPink")]
    public static Color DeepPink => new(System.Drawing.Color.DeepPink);

    [Implements("getsa_DeepSkyBlue")]
    public static Color DeepSkyBlue => new(System.Drawing.Color.DeepSkyBlue);

    [Implements("getsa_DimGray")]
    public static Color DimGray => new(System.Drawing.Color.DimGray);

    [Implements("getsa_DodgerBlue")]
    public static Color DodgerBlue => new(System.Drawing.Color.DodgerBlue);

    [Implements("getsa_Firebrick")]
    public static Color Firebrick => new(System.Drawing.Color.Firebrick);

    [Implements("getsa_FloralWhite")]
    public static Color FloralWhite => new(System.Drawing.Color.FloralWhite);

    [Implements("getsa_ForestGreen")]
    public static Color ForestGreen => new(System.Drawing.Color.ForestGreen);

    [Implements("getsa_Fuchsia")]
    public static Color Fuchsia => new(System.Drawing.Color.Fuchsia);

    [Implements("getsa_Gainsboro")]
    public static Color Gainsboro => new(System.Drawing.Color.Gainsboro);

    [Implements("getsa_GhostWhite")]
    public static Color GhostWhite => new(System.Drawing.Color.GhostWhite);

    [Implements("getsa_Gold")]
    public static Color Gold => new(System.Drawing.Color.Gold);

    [Implements("getsa_Goldenrod")]
    public static Color Goldenrod => new(System.Drawing.Color.Goldenrod);

    [Implements("getsa_Gray")]
    public static Color Gray => new(System.Drawing.Color.Gray);

    [Implements("getsa_Green")]
    public static Color Green => new(System.Drawing.Color.Green);

    [Implements("getsa_GreenYellow")]
    public static Color GreenYellow => new(System.Drawing.Color.GreenYellow);

    [Implements("getsa_Honeydew")]
    public static Color Honeydew => new(System.Drawing.Color.Honeydew);

    [Implements("getsa_HotPink")]
    public static Color HotPink => new(System.Drawing.Color.HotPink);

    [Implements("getsa_IndianRed")]
    public static Color IndianRed => new(System.Drawing.Color.IndianRed);

    [Implements("getsa_Indigo")]
    public static Color Indigo => new(System.Drawing.Color.Indigo);

    [Implements("getsa_Ivory")]
    public static Color Ivory => new(System.Drawing.Color.Ivory);

    [Implements("getsa_Khaki")]
    public static Color Khaki => new(System.Drawing.Color.Khaki);

    [Implements("getsa_Lavender")]
    public static Color Lavender => new(System.Drawing.Color.Lavender);

    [Implements("getsa_LavenderBlush")]
    public static Color LavenderBlush => new(System.Drawing.Color.LavenderBlush);

    [Implements("getsa_LawnGreen")]
    public static Color LawnGreen => new(System.Drawing.Color.LawnGreen);

    [Implements("getsa_LemonChiffon")]
    public static Color LemonChiffon => new(System.Drawing.Color.LemonChiffon);

    [Implements("getsa_LightBlue")]
    public static Color LightBlue => new(System.Drawing.Color.LightBlue);

    [Implements("getsa_LightCoral")]
    public static Color LightCoral => new(System.Drawing.Color.LightCoral);

    [Implements("getsa_LightCyan")]
    public static Color LightCyan => new(System.Drawing.Color.LightCyan);

    [Implements("getsa_LightGoldenrodYellow")]
    public static Color LightGoldenrodYellow => new(System.Drawing.Color.LightGoldenrodYellow);

    [Implements("getsa_LightGray")]
    public static Color LightGray => new(System.Drawing.Color.LightGray);

    [Implements("getsa_LightGreen")]
    public static Color LightGreen => new(System.Drawing.Color.LightGreen);

    [Implements("getsa_LightPink")]
    public static Color LightPink => new(System.Drawing.Color.LightPink);

    [Implements("getsa_LightSalmon")]
    public static Color LightSalmon => new(System.Drawing.Color.LightSalmon);

    [Implements("getsa_LightSeaGreen")]
    public static Color LightSeaGreen => new(System.Drawing.Color.LightSeaGreen);

    [Implements("getsa_LightSkyBlue")]
    public static Color LightSkyBlue => new(System.Drawing.Color.LightSkyBlue);

    [Implements("getsa_LightSlateGray")]
    public static Color LightSlateGray => new(System.Drawing.Color.LightSlateGray);

    [Implements("getsa_LightSteelBlue")]
    public static Color LightSteelBlue => new(System.Drawing.Color.LightSteelBlue);

    [Implements("getsa_LightYellow")]
    public static Color LightYellow => new(System.Drawing.Color.LightYellow);

    [Implements("getsa_Lime")]
    public static Color Lime => new(System.Drawing.Color.Lime);

    [Implements("getsa_LimeGreen")]
    public static Color LimeGreen => new(System.Drawing.Color.LimeGreen);

    [Implements("getsa_Linen")]
    public static Color Linen => new(System.Drawing.Color.Linen);

    [Implements("getsa_Magenta")]
    public static Color Magenta => new(System.Drawing.Color.Magenta);

    [Implements("getsa_Maroon")]
    public static Color Maroon => new(System.Drawing.Color.Maroon);

    [Implements("getsa_MediumAquamarine")]
    public static Color MediumAquamarine => new(System.Drawing.Color.MediumAquamarine);

    [Implements("getsa_MediumBlue")]
    public static Color MediumBlue => new(System.Drawing.Color.MediumBlue);

    [Implements("getsa_MediumOrchid")]
    public static Color MediumOrchid => new(System.Drawing.Color.MediumOrchid);

    [Implements("getsa_MediumPurple")]
    public static Color MediumPurple => new(System.Drawing.Color.MediumPurple);

    [Implements("getsa_MediumSeaGreen")]
    public static Color MediumSeaGreen => new(System.Drawing.Color.MediumSeaGreen);

    [Implements("getsa_MediumSlateBlue")]
    public static Color MediumSlateBlue => new(System.Drawing.Color.MediumSlateBlue);

    [Implements("getsa_MediumSpringGreen")]
    public static Color MediumSpringGreen => new(System.Drawing.Color.MediumSpringGreen);

    [Implements("getsa_MediumTurquoise")]
    public static Color MediumTurquoise => new(System.Drawing.Color.MediumTurquoise);

    [Implements("getsa_MediumVioletRed")]
    public static Color MediumVioletRed => new(System.Drawing.Color.MediumVioletRed);

    [Implements("getsa_MidnightBlue")]
    public static Color MidnightBlue => new(System.Drawing.Color.MidnightBlue);

    [Implements("getsa_MintCream")]
    public static Color MintCream => new(System.Drawing.Color.MintCream);

    [Implements("getsa_MistyRose")]
    public static Color MistyRose => new(System.Drawing.Color.MistyRose);

    [Implements("getsa_Moccasin")]
    public static Color Moccasin => new(System.Drawing.Color.Moccasin);

    [Implements("getsa_NavajoWhite")]
    public static Color NavajoWhite => new(System.Drawing.Color.NavajoWhite);

    [Implements("getsa_Navy")]
    public static Color Navy => new(System.Drawing.Color.Navy);

    [Implements("getsa_OldLace")]
    public static Color OldLace => new(System.Drawing.Color.OldLace);

    [Implements("getsa_Olive")]
    public static Color Olive => new(System.Drawing.Color.Olive);

    [Implements("getsa_OliveDrab")]
    public static Color OliveDrab => new(System.Drawing.Color.OliveDrab);

    [Implements("getsa_Orange")]
    public static Color Orange => new(System.Drawing.Color.Orange);

    [Implements("getsa_OrangeRed")]
    public static Color OrangeRed => new(System.Drawing.Color.OrangeRed);

    [Implements("getsa_Orchid")]
    public static Color Orchid => new(System.Drawing.Color.Orchid);

    [Implements("getsa_PaleGoldenrod")]
    public static Color PaleGoldenrod => new(System.Drawing.Color.PaleGoldenrod);

    [Implements("getsa_PaleGreen")]
    public static Color PaleGreen => new(System.Drawing.Color.PaleGreen);

    [Implements("getsa_PaleTurquoise")]
    public static Color PaleTurquoise => new(System.Drawing.Color.PaleTurquoise);

    [Implements("getsa_PaleVioletRed")]
    public static Color PaleVioletRed => new(System.Drawing.Color.PaleVioletRed);

    [Implements("getsa_PapayaWhip")]
    public static Color PapayaWhip => new(System.Drawing.Color.PapayaWhip);

    [Implements("getsa_PeachPuff")]
    public static Color PeachPuff => new(System.Drawing.Color.PeachPuff);

    [Implements("getsa_Peru")]
    public static Color Peru => new(System.Drawing.Color.Peru);

    [Implements("getsa_Pink")]
    public static Color Pink => new(System.Drawing.Color.Pink);

    [Implements("getsa_Plum")]
    public static Color Plum => new(System.Drawing.Color.Plum);

    [Implements("getsa_PowderBlue")]
    public static Color PowderBlue => new(System.Drawing.Color.PowderBlue);

    [Implements("getsa_Purple")]
    public static Color Purple => new(System.Drawing.Color.Purple);

    [Implements("getsa_Red")]
    public static Color Red => new(System.Drawing.Color.Red);

    [Implements("getsa_RosyBrown")]
    public static Color RosyBrown => new(System.Drawing.Color.RosyBrown);

    [Implements("getsa_RoyalBlue")]
    public static Color RoyalBlue => new(System.Drawing.Color.RoyalBlue);

    [Implements("getsa_SaddleBrown")]
    public static Color SaddleBrown => new(System.Drawing.Color.SaddleBrown);

    [Implements("getsa_Salmon")]
    public static Color Salmon => new(System.Drawing.Color.Salmon);

    [Implements("getsa_SandyBrown")]
    public static Color SandyBrown => new(System.Drawing.Color.SandyBrown);

    [Implements("getsa_SeaGreen")]
    public static Color SeaGreen => new(System.Drawing.Color.SeaGreen);

    [Implements("getsa_SeaShell")]
    public static Color SeaShell => new(System.Drawing.Color.SeaShell);

    [Implements("getsa_Sienna")]
    public static Color Sienna => new(System.Drawing.Color.Sienna);

    [Implements("getsa_Silver")]
    public static Color Silver => new(System.Drawing.Color.Silver);

    [Implements("getsa_SkyBlue")]
    public static Color SkyBlue => new(System.Drawing.Color.SkyBlue);

    [Implements("getsa_SlateBlue")]
    public static Color SlateBlue => new(System.Drawing.Color.SlateBlue);

    [Implements("getsa_SlateGray")]
    public static Color SlateGray => new(System.Drawing.Color.SlateGray);

    [Implements("getsa_Snow")]
    public static Color Snow => new(System.Drawing.Color.Snow);

    [Implements("getsa_SpringGreen")]
    public static Color SpringGreen => new(System.Drawing.Color.SpringGreen);

    [Implements("getsa_SteelBlue")]
    public static Color SteelBlue => new(System.Drawing.Color.SteelBlue);

    [Implements("getsa_Tan")]
    public static Color Tan => new(System.Drawing.Color.Tan);

    [Implements("getsa_Teal")]
    public static Color Teal => new(System.Drawing.Color.Teal);

    [Implements("getsa_Thistle")]
    public static Color Thistle => new(System.Drawing.Color.Thistle);

    [Implements("getsa_Tomato")]
    public static Color Tomato => new(System.Drawing.Color.Tomato);

    [Implements("getsa_Transparent")]
    public static Color Transparent => new(System.Drawing.Color.Transparent);

    [Implements("getsa_Turquoise")]
    public static Color Turquoise => new(System.Drawing.Color.Turquoise);

    [Implements("getsa_Violet")]
    public static Color Violet => new(System.Drawing.Color.Violet);

    [Implements("getsa_Wheat")]
    public static Color Wheat => new(System.Drawing.Color.Wheat);

    [Implements("getsa_White")]
    public static Color White => new(System.Drawing.Color.White);

    [Implements("getsa_WhiteSmoke")]
    public static Color WhiteSmoke => new(System.Drawing.Color.WhiteSmoke);

    [Implements("getsa_Yellow")]
    public static Color Yellow => new(System.Drawing.Color.Yellow);

    [Implements("getsa_YellowGreen")]
    public static Color YellowGreen => new(System.Drawing.Color.YellowGreen);
}
