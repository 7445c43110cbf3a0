// How metafiles blend bitmaps: four bytes in one number.
using System;
using Zelmor.Imaging.FileFormats.Emf.Emf.Consts;

namespace Zelmor.Imaging.FileFormats.Emf.Emf.Records;

public partial struct EmfBlendFunction
{
    private int _data;

    [Implements("ctor_000_EmfBlendFunction")]
    public EmfBlendFunction(int dwordData)
    {
        var format = dwordData >>> 24;
        if (format > 1)
        {
            throw new ArgumentOutOfRangeException(nameof(dwordData), $"The alpha format {format} is not 0 or 1.");
        }
        _data = dwordData;
    }

    [Implements("get_BlendOperation")]
    public byte BlendOperation
    {
        readonly get => (byte)_data;
        private set => Set(0, value);
    }

    [Implements("get_BlendFlags")]
    public byte BlendFlags
    {
        readonly get => (byte)(_data >> 8);
        private set => Set(8, value);
    }

    [Implements("get_SrcConstantAlpha")]
    public byte SrcConstantAlpha
    {
        readonly get => (byte)(_data >> 16);
        private set => Set(16, value);
    }

    [Implements("get_AlphaFormat")]
    public AlphaFormatEnum AlphaFormat
    {
        readonly get => (AlphaFormatEnum)(_data >>> 24);
        private set => Set(24, (byte)value);
    }

    [Implements("call_000_ToInt")]
    public readonly int ToInt() => _data;

    private void Set(int shift, byte value) => _data = _data & ~(0xFF << shift) | value << shift;

    [Implements("Equals")]
    public readonly bool Equals(EmfBlendFunction other) => _data == other._data;

    /// <inheritdoc/>
    public override readonly bool Equals(object? obj) => obj is EmfBlendFunction other && Equals(other);

    /// <inheritdoc/>
    public override readonly int GetHashCode() => _data.GetHashCode();

    /// <inheritdoc/>
    public override readonly string ToString()
    {
        return $"{{BlendOperation={BlendOperation}, BlendFlags={BlendFlags}, SrcConstantAlpha={SrcConstantAlpha}, " +
            $"AlphaFormat={(int)AlphaFormat}}}";
    }
}
