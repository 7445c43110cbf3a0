// Readers of TIFF structures: where they read from. Reading itself is not done yet.
using System;
using System.IO;

namespace Zelmor.Imaging.FileFormats.Tiff.FileManagement;

public partial class TiffStreamReader
{
    private readonly Stream? _source;

    [Implements("ctor_000_TiffStreamReader")]
    public TiffStreamReader(byte[]? data) : this(data, 0, data?.Length ?? 0)
    {
    }

    [Implements("ctor_001_TiffStreamReader")]
    public TiffStreamReader(byte[]? data, int startIndex)
        : this(data, startIndex, Math.Max(0, (data?.Length ?? 0) - startIndex))
    {
    }

    [Implements("ctor_002_TiffStreamReader")]
    public TiffStreamReader(byte[]? data, int startIndex, int dataLength)
    {
        ArgumentNullException.ThrowIfNull(data);
        if (startIndex < 0 || startIndex > data.Length)
        {
            throw new ArgumentOutOfRangeException(
                nameof(startIndex), $"The index is not within the {data.Length} bytes.");
        }
        if (dataLength < 0 || dataLength > data.Length - startIndex)
        {
            throw new ArgumentOutOfRangeException(
                nameof(dataLength), $"There are no {dataLength} bytes behind the index.");
        }
        _source = new MemoryStream(data, startIndex, dataLength, writable: false);
    }

    [Implements("ctor_003_TiffStreamReader")]
    public TiffStreamReader(StreamContainer? streamContainer)
    {
        ArgumentNullException.ThrowIfNull(streamContainer);
        _source = streamContainer.Stream;
    }

    [Implements("get_Length")]
    public virtual long Length => _source?.Length ?? 0;
}
