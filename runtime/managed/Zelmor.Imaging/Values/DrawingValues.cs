// The values of .NET's own drawing module that stand for those of the class library.
using System;

namespace Zelmor.Imaging.Extensions;

public static partial class PointExtensions
{
    [Implements("call_000_ToGdiPoints")]
    public static System.Drawing.PointF[]? ToGdiPoints(PointF[]? points)
    {
        ArgumentNullException.ThrowIfNull(points);
        return Array.ConvertAll(points, point => new System.Drawing.PointF(point.X, point.Y));
    }
}

public static partial class ColorExtensions
{
    [Implements("call_000_ToGdiColors")]
    public static System.Drawing.Color[]? ToGdiColors(Color[]? colors)
    {
        ArgumentNullException.ThrowIfNull(colors);
        return Array.ConvertAll(colors, color => color.ToDrawing());
    }
}
