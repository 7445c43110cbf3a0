// Colors as the amounts of four inks.
using System;

namespace Zelmor.Imaging;

public partial struct CmykColor
{
    private uint _inks; // cyan in the low byte

    [Implements("get_C")]
    public readonly int C => (byte)_inks;

    [Implements("get_M")]
    public readonly int M => (byte)(_inks >> 8);

    [Implements("get_Y")]
    public readonly int Y => (byte)(_inks >> 16);

    [Implements("get_K")]
    public readonly int K => (byte)(_inks >> 24);

    [Implements("get_IsEmpty")]
    public readonly bool IsEmpty => _inks == 0;

    /// <summary>The color of four bytes.</summary>
    internal static CmykColor Of(ReadOnlySpan<byte> inks)
    {
        return new CmykColor { _inks = BitConverter.ToUInt32(inks) };
    }

    [Implements("Equals")]
    public readonly bool Equals(CmykColor other) => _inks == other._inks;

    public override readonly bool Equals(object? obj) => obj is CmykColor other && Equals(other);

    public override readonly int GetHashCode() => (int)_inks;
}
