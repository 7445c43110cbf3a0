// From a floating-point number to a whole one, as the geometry types do it.
using System;

namespace Zelmor.Imaging;

internal static class Rounding
{
    /// <summary>Toward zero. A number that does not fit becomes the smallest integer.</summary>
    public static int Truncate(double value)
    {
        return value > -2147483649.0 && value < 2147483648.0 ? (int)value : int.MinValue;
    }

    public static int Ceiling(float value) => Truncate(Math.Ceiling((double)value));

    /// <summary>Halves go to the even neighbor.</summary>
    public static int Round(float value) => Truncate(Math.Round((double)value, MidpointRounding.ToEven));
}

/// <summary>Hash codes of a few numbers, each in its place: the same in every process.</summary>
internal static class Hashing
{
    public static int Combine(params int[] words)
    {
        var hash = 17u;
        foreach (var word in words)
        {
            hash = hash * 31 + (uint)word;
        }
        return (int)hash;
    }

    /// <summary>The word of a number: both zeros have the same one, and so has what is no number.</summary>
    public static int Word(float value)
    {
        return value == 0 ? 0 : float.IsNaN(value) ? 0x7FC00000 : BitConverter.SingleToInt32Bits(value);
    }
}
