// Colors: what one was made from is part of it, so that the known red differs from the red of its components.
using System;

namespace Zelmor.Imaging;

public partial struct Color
{
    private const int LastKnownColor = 174;

    private readonly System.Drawing.Color _color;

    private Color(System.Drawing.Color color)
    {
        _color = color;
    }

    /// <summary>The color of .NET's own drawing module, with its name.</summary>
    public static Color FromDrawing(System.Drawing.Color color) => new(color);

    /// <summary>The color as a value of .NET.</summary>
    public readonly System.Drawing.Color ToDrawing() => _color;

    [Implements("getsa_Empty")]
    public static Color Empty => default;

    [Implements("get_R")]
    public readonly int R => _color.R;

    [Implements("get_G")]
    public readonly int G => _color.G;

    [Implements("get_B")]
    public readonly int B => _color.B;

    [Implements("get_A")]
    public readonly int A => _color.A;

    [Implements("get_IsKnownColor")]
    public readonly bool IsKnownColor => _color.IsKnownColor;

    [Implements("get_IsEmpty")]
    public readonly bool IsEmpty => _color.IsEmpty;

    [Implements("get_IsNamedColor")]
    public readonly bool IsNamedColor => _color.IsNamedColor;

    [Implements("get_Name")]
    public readonly string? Name => _color.Name;

    [Implements("call_000_FromArgb")]
    public static Color FromArgb(int argb) => new(System.Drawing.Color.FromArgb(argb));

    [Implements("call_001_FromArgb")]
    public static Color FromArgb(int alpha, int red, int green, int blue)
    {
        return new Color(System.Drawing.Color.FromArgb(alpha, red, green, blue));
    }

    [Implements("call_002_FromArgb")]
    public static Color FromArgb(int alpha, Color baseColor)
    {
        return new Color(System.Drawing.Color.FromArgb(alpha, baseColor._color));
    }

    [Implements("call_003_FromArgb")]
    public static Color FromArgb(int red, int green, int blue)
    {
        return new Color(System.Drawing.Color.FromArgb(red, green, blue));
    }

    [Implements("call_000_FromKnownColor")]
    public static Color FromKnownColor(KnownColor color)
    {
        if ((int)color is < 1 or > LastKnownColor)
        {
            throw new ArgumentException($"The value '{(int)color}' is no KnownColor.");
        }
        return new Color(System.Drawing.Color.FromKnownColor((System.Drawing.KnownColor)color));
    }

    // The color of a name; a transparent black that keeps the name where no known color has it.
    [Implements("call_000_FromName")]
    public static Color FromName(string? name)
    {
        ArgumentNullException.ThrowIfNull(name);
        return new Color(System.Drawing.Color.FromName(name));
    }

    [Implements("call_000_GetBrightness")]
    public readonly float GetBrightness() => _color.GetBrightness();

    [Implements("call_000_GetHue")]
    public readonly float GetHue() => _color.GetHue();

    [Implements("call_000_GetSaturation")]
    public readonly float GetSaturation() => _color.GetSaturation();

    [Implements("call_000_ToArgb")]
    public readonly int ToArgb() => _color.ToArgb();

    [Implements("call_000_ToKnownColor")]
    public readonly KnownColor ToKnownColor() => (KnownColor)_color.ToKnownColor();

    [Implements("Equals")]
    public readonly bool Equals(Color other) => _color.Equals(other._color);

    /// <inheritdoc/>
    public override readonly bool Equals(object? obj) => obj is Color other && Equals(other);

    /// <inheritdoc/>
    public override readonly int GetHashCode() => _color.GetHashCode();

    /// <inheritdoc/>
    public override readonly string ToString() => _color.ToString();
}
