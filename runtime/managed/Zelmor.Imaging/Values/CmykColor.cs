// Amounts of four inks, and their plain conversion from and to colors. Conversions by ICC profiles are those of the
// picture library, which has a color management module: the generator writes them.
using System;

namespace Zelmor.Imaging;

public partial struct CmykColor
{
    private readonly byte _cyan;
    private readonly byte _magenta;
    private readonly byte _yellow;
    private readonly byte _black;

    private CmykColor(byte cyan, byte magenta, byte yellow, byte black)
    {
        (_cyan, _magenta, _yellow, _black) = (cyan, magenta, yellow, black);
    }

    /// <summary>The color of four bytes: cyan, magenta, yellow, black.</summary>
    internal static CmykColor Of(ReadOnlySpan<byte> inks) => new(inks[0], inks[1], inks[2], inks[3]);

    [Implements("getsa_Empty")]
    public static CmykColor Empty => default;

    [Implements("get_C")]
    public readonly int C => _cyan;

    [Implements("get_M")]
    public readonly int M => _magenta;

    [Implements("get_Y")]
    public readonly int Y => _yellow;

    [Implements("get_K")]
    public readonly int K => _black;

    [Implements("get_IsEmpty")]
    public readonly bool IsEmpty => ToValue() == 0;

    [Implements("call_000_FromParams")]
    public static CmykColor FromParams(int cyan, int magenta, int yellow, int black)
    {
        return new CmykColor(
            Component(cyan, nameof(cyan)), Component(magenta, nameof(magenta)), Component(yellow, nameof(yellow)),
            Component(black, nameof(black)));
    }

    [Implements("call_000_ToCmyk")]
    public static CmykColor[]? ToCmyk(int[]? argbPixels)
    {
        ArgumentNullException.ThrowIfNull(argbPixels);
        return Array.ConvertAll(argbPixels, ToCmyk);
    }

    // Black is the part that the three inks share.
    [Implements("call_001_ToCmyk")]
    public static CmykColor ToCmyk(int argbPixel)
    {
        int red = (byte)(argbPixel >> 16), green = (byte)(argbPixel >> 8), blue = (byte)argbPixel;
        var light = Math.Max(red, Math.Max(green, blue));
        return light == 0
            ? new CmykColor(0, 0, 0, 255)
            : new CmykColor(Ink(red, light), Ink(green, light), Ink(blue, light), (byte)(255 - light));
    }

    [Implements("call_000_ToColor")]
    public static Color[]? ToColor(CmykColor[]? cmykPixels)
    {
        ArgumentNullException.ThrowIfNull(cmykPixels);
        return Array.ConvertAll(cmykPixels, ToColor);
    }

    [Implements("call_001_ToColor")]
    public static Color ToColor(CmykColor cmykPixel) => Color.FromArgb(cmykPixel.ToArgb());

    [Implements("call_000_ToCmykColors")]
    public static CmykColor[]? ToCmykColors(int[]? argbPixels) => ToCmyk(argbPixels);

    [Implements("call_000_ToColors")]
    public static Color[]? ToColors(CmykColor[]? cmykPixels) => ToColor(cmykPixels);

    [Implements("call_000_ToArgb32")]
    public static int[]? ToArgb32(CmykColor[]? cmykPixels)
    {
        ArgumentNullException.ThrowIfNull(cmykPixels);
        return Array.ConvertAll(cmykPixels, pixel => pixel.ToArgb());
    }

    [Implements("call_000_ToCmykColor")]
    public static CmykColor ToCmykColor(int argbPixel) => ToCmyk(argbPixel);

    // The inks in the bytes of a number, cyan in the highest.
    [Implements("call_000_ToValue")]
    public readonly int ToValue() => _cyan << 24 | _magenta << 16 | _yellow << 8 | _black;

    [Implements("Equals")]
    public readonly bool Equals(CmykColor other) => ToValue() == other.ToValue();

    /// <inheritdoc/>
    public override readonly bool Equals(object? obj) => obj is CmykColor other && Equals(other);

    /// <inheritdoc/>
    public override readonly int GetHashCode() => Hashing.Combine(ToValue());

    /// <inheritdoc/>
    public override readonly string ToString() => $"CmykColor [C={C}, M={M}, Y={Y}, K={K}]";

    private static byte Component(int value, string parameter)
    {
        return value is >= 0 and <= 255
            ? (byte)value : throw new ArgumentException(
                $"Value of '{value}' is not valid for '{parameter}'. '{parameter}' should be greater than or equal to 0 " +
                "and less than or equal to 255.");
    }

    private static byte Ink(int part, int light) => (byte)(((light - part) * 255 + light / 2) / light);

    private readonly int ToArgb() => 0xFF << 24 | Light(_cyan) << 16 | Light(_magenta) << 8 | Light(_yellow);

    private readonly int Light(int ink) => ((255 - ink) * (255 - _black) + 127) / 255;
}

public partial struct Color
{
    [Implements("call_000_ToCmyk")]
    public static CmykColor[]? ToCmyk(Color[]? pixels)
    {
        ArgumentNullException.ThrowIfNull(pixels);
        return Array.ConvertAll(pixels, ToCmyk);
    }

    [Implements("call_001_ToCmyk")]
    public static CmykColor ToCmyk(Color pixel) => CmykColor.ToCmyk(pixel.ToArgb());

    [Implements("call_000_ToCmykColors")]
    public static CmykColor[]? ToCmykColors(Color[]? pixels) => ToCmyk(pixels);

    [Implements("call_000_ToCmykColor")]
    public static CmykColor ToCmykColor(Color pixel) => ToCmyk(pixel);
}
