// How metafiles blend bitmaps: four bytes in one number.
using System;
using Zelmor.Imaging.FileFormats.Emf.Emf.Consts;

namespace Zelmor.Imaging.FileFormats.Emf.Emf.Records;

public partial struct EmfBlendFunction
{
    private readonly int _data;

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
    public readonly byte BlendOperation => (byte)_data;

    [Implements("get_BlendFlags")]
    public readonly byte BlendFlags => (byte)(_data >> 8);

    [Implements("get_SrcConstantAlpha")]
    public readonly byte SrcConstantAlpha => (byte)(_data >> 16);

    [Implements("get_AlphaFormat")]
    public readonly AlphaFormatEnum AlphaFormat => (AlphaFormatEnum)(_data >>> 24);

    [Implements("call_000_ToInt")]
    public readonly int ToInt() => _data;

    [Implements("Equals")]
    public readonly bool Equals(EmfBlendFunction other) => _data == other._data;

    public override readonly bool Equals(object? obj) => obj is EmfBlendFunction other && Equals(other);

    public override readonly int GetHashCode() => _data.GetHashCode();

    public override readonly string ToString()
    {
        return $"{{BlendOperation={BlendOperation}, BlendFlags={BlendFlags}, SrcConstantAlpha={SrcConstantAlpha}, " +
            $"AlphaFormat={(int)AlphaFormat}}}";
    }
}
