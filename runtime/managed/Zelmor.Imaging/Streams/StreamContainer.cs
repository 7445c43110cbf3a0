// A stream with members for reading, writing and saving it, which may own the stream.
//
// Saving copies a stream from its beginning and restores its position. A stream that cannot seek is copied from where
// it is.
using System;
using System.IO;

namespace Zelmor.Imaging;

public partial class StreamContainer
{
    private const int BufferSize = 4096;
    private const long ToTheEnd = -1;

    private Stream? _stream;
    private bool _isJoined;

    // Around a container of the picture library: that one knows whether its stream ends with it.
    private readonly bool _isShown;

    [Implements("ctor_000_StreamContainer")]
    public StreamContainer(Stream? stream) : this(stream, false)
    {
    }

    [Implements("ctor_001_StreamContainer")]
    public StreamContainer(Stream? stream, bool disposeStream)
    {
        ArgumentNullException.ThrowIfNull(stream);
        _stream = stream;
        IsStreamDisposedOnClose = disposeStream;
    }

    internal StreamContainer(PictureStream stream, bool disposeStream)
    {
        _stream = stream;
        _isShown = true;
        IsStreamDisposedOnClose = disposeStream;
    }

    [Implements("getsa_ReadWriteBytesCount")]
    public static int ReadWriteBytesCount => BufferSize;

    // The object that callers lock: the container itself.
    [Implements("get_SyncRoot")]
    public virtual object? SyncRoot => this;

    [Implements("get_Stream")]
    public virtual Stream? Stream => Own is PictureStream own ? own.Shown : Own;

    [Implements("get_IsStreamDisposedOnClose")]
    public virtual bool IsStreamDisposedOnClose { get; }

    [Implements("get_Position")]
    public virtual long Position
    {
        get => Own.Position;
        set => Own.Position = value;
    }

    [Implements("get_Length")]
    public virtual long Length
    {
        get => Own.Length;
        set
        {
            var own = Own;
            if (value < 0)
            {
                throw new ArgumentOutOfRangeException(nameof(value), $"The length {value} is negative.");
            }
            own.SetLength(value);
        }
    }

    [Implements("get_CanRead")]
    public virtual bool CanRead => Own.CanRead;

    [Implements("get_CanSeek")]
    public virtual bool CanSeek => Own.CanSeek;

    [Implements("get_CanWrite")]
    public virtual bool CanWrite => Own.CanWrite;

    private Stream Own
    {
        get
        {
            ObjectDisposedException.ThrowIf(Disposed, this);
            return _stream ?? throw new InvalidOperationException("The container has no stream.");
        }
    }

    /// <summary>The stream of a container.</summary>
    public static explicit operator Stream(StreamContainer container) => container.Own;

    [Implements("call_000_Write")]
    public virtual void Write(byte[]? bytes) => Own.Write(Given(bytes, nameof(bytes)));

    [Implements("call_001_Write")]
    public virtual void Write(byte[]? buffer, int offset, int count)
    {
        var own = Own;
        CheckRange(Given(buffer, nameof(buffer)).Length, offset, count);
        own.Write(buffer.AsSpan(offset, count));
    }

    // Fills the memory up to the end of the stream.
    [Implements("call_000_Read")]
    public virtual void Read(Span<byte> bytes) => Own.ReadAtLeast(bytes, bytes.Length, throwOnEndOfStream: false);

    // Reads once from the stream, which may give less than the range holds.
    [Implements("call_001_Read")]
    public virtual int Read(Span<byte> buffer, int offset, int count)
    {
        var own = Own;
        CheckRange(buffer.Length, offset, count);
        return own.Read(buffer.Slice(offset, count));
    }

    [Implements("call_000_ToBytes")]
    public virtual byte[]? ToBytes()
    {
        var own = Own;
        var memory = new MemoryStream();
        FromBeginning(own, () => own.CopyTo(memory));
        return memory.ToArray();
    }

    [Implements("call_001_ToBytes")]
    public virtual byte[]? ToBytes(long position, long bytesCount)
    {
        ArgumentOutOfRangeException.ThrowIfNegative(position);
        var own = Own;
        var length = own.Length;
        if (bytesCount < 0 || position > length || bytesCount > length - position)
        {
            throw new ArgumentOutOfRangeException(
                nameof(bytesCount),
                $"The range from {position} of {bytesCount} bytes leaves a stream of {length}.");
        }
        var bytes = new byte[bytesCount];
        FromBeginning(own, () =>
        {
            own.Position = position;
            own.ReadExactly(bytes);
        });
        return bytes;
    }

    [Implements("call_000_Save", Lends = true)]
    public virtual void Save(Stream? destinationStream) => SaveAll(destinationStream, BufferSize, ToTheEnd);

    [Implements("call_001_Save", Lends = true)]
    public virtual void Save(Stream? destinationStream, int bufferSize)
    {
        SaveAll(destinationStream, bufferSize, ToTheEnd);
    }

    [Implements("call_002_Save", Lends = true)]
    public virtual void Save(Stream? destinationStream, int bufferSize, long length)
    {
        ArgumentOutOfRangeException.ThrowIfNegative(length);
        SaveAll(destinationStream, bufferSize, length);
    }

    [Implements("call_003_Save")]
    public virtual void Save(string? filePath) => SaveFile(filePath, BufferSize, ToTheEnd);

    [Implements("call_004_Save")]
    public virtual void Save(string? filePath, int bufferSize) => SaveFile(filePath, bufferSize, ToTheEnd);

    [Implements("call_005_Save")]
    public virtual void Save(string? filePath, int bufferSize, long length)
    {
        ArgumentOutOfRangeException.ThrowIfNegative(length);
        SaveFile(filePath, bufferSize, length);
    }

    [Implements("call_000_SaveToStream", Lends = true)]
    public virtual void SaveToStream(Stream? destinationStream) => Save(destinationStream);

    [Implements("call_000_SaveToStreamWithBufSize", Lends = true)]
    public virtual void SaveToStreamWithBufSize(Stream? destinationStream, int bufferSize)
    {
        Save(destinationStream, bufferSize);
    }

    [Implements("call_000_SaveToStreamWithBufSizeAndLen", Lends = true)]
    public virtual void SaveToStreamWithBufSizeAndLen(Stream? destinationStream, int bufferSize, long length)
    {
        Save(destinationStream, bufferSize, length);
    }

    [Implements("call_000_SaveWithBufSize")]
    public virtual void SaveWithBufSize(string? filePath, int bufferSize) => Save(filePath, bufferSize);

    [Implements("call_000_SaveWithBufSizeAndLen")]
    public virtual void SaveWithBufSizeAndLen(string? filePath, int bufferSize, long length)
    {
        Save(filePath, bufferSize, length);
    }

    [Implements("call_000_WriteTo")]
    public virtual void WriteTo(StreamContainer? streamContainer)
    {
        ArgumentNullException.ThrowIfNull(streamContainer);
        Copy(Own, streamContainer.Own, BufferSize, ToTheEnd);
    }

    [Implements("call_001_WriteTo")]
    public virtual void WriteTo(StreamContainer? streamContainer, long length)
    {
        ArgumentNullException.ThrowIfNull(streamContainer);
        ArgumentOutOfRangeException.ThrowIfNegative(length);
        Copy(Own, streamContainer.Own, BufferSize, length);
    }

    [Implements("call_000_Flush")]
    public virtual void Flush() => Own.Flush();

    [Implements("call_000_WriteByte")]
    public virtual void WriteByte(byte value) => Own.WriteByte(value);

    [Implements("call_000_ReadByte")]
    public virtual int ReadByte() => Own.ReadByte();

    [Implements("call_000_Seek")]
    public virtual long Seek(long offset, SeekOrigin origin) => Own.Seek(offset, (System.IO.SeekOrigin)origin);

    [Implements("call_000_SeekBegin")]
    public virtual void SeekBegin() => Own.Position = 0;

    /// <inheritdoc/>
    protected override void ReleaseManagedResources()
    {
        var stream = _stream;
        _stream = null;
        // A joined stream disposes of those of its streams that it owns.
        if (IsStreamDisposedOnClose || _isJoined || _isShown)
        {
            stream?.Dispose();
        }
        base.ReleaseManagedResources();
    }

    /// <summary>Inserts the content of another stream at a position.</summary>
    private protected void Join(long position, Stream stream, bool disposeStream)
    {
        var own = Own;
        if (IsSame(own, stream))
        {
            throw new ArgumentException("A stream cannot be put into itself.");
        }
        var joined = own as JoinedStream ?? new JoinedStream(own, IsStreamDisposedOnClose || _isShown);
        joined.Insert(position, stream, disposeStream);
        // Asking a Python file for its length runs its code, which may have done anything.
        if (Own != own)
        {
            throw JoinedStream.Changed();
        }
        _stream = joined;
        _isJoined = true;
    }

    /// <summary>Whether two streams are one; streams over one file of a caller say so by being equal.</summary>
    private static bool IsSame(Stream one, Stream other) => one.Equals(other);

    private static byte[] Given(byte[]? bytes, string parameter)
    {
        return bytes ?? throw new ArgumentNullException(parameter);
    }

    private static void CheckRange(int length, int offset, int count)
    {
        ArgumentOutOfRangeException.ThrowIfNegative(offset);
        if (count < 0 || offset > length - count)
        {
            throw new ArgumentOutOfRangeException(
                nameof(count), $"The range from {offset} of {count} bytes leaves an array of {length}.");
        }
    }

    private static void CheckBufferSize(int bufferSize)
    {
        if (bufferSize <= 0)
        {
            throw new ArgumentOutOfRangeException(nameof(bufferSize), $"The size {bufferSize} is not positive.");
        }
    }

    /// <summary>Works on a stream from its beginning on and restores its position.</summary>
    private static void FromBeginning(Stream stream, Action work)
    {
        if (!stream.CanSeek)
        {
            work();
            return;
        }
        var kept = stream.Position;
        stream.Position = 0;
        try
        {
            work();
        }
        catch
        {
            try
            {
                stream.Position = kept;
            }
            catch (Exception)
            {
                // The cause says more than the failure to restore the position.
            }
            throw;
        }
        stream.Position = kept;
    }

    private static void Copy(Stream from, Stream to, int bufferSize, long length)
    {
        CheckBufferSize(bufferSize);
        if (IsSame(from, to))
        {
            throw new ArgumentException("A stream cannot be copied onto itself.");
        }
        var buffer = new byte[bufferSize];
        for (var left = length; length == ToTheEnd || left > 0;)
        {
            var wanted = length == ToTheEnd ? bufferSize : (int)Math.Min(left, bufferSize);
            var count = from.Read(buffer, 0, wanted);
            if (count == 0)
            {
                return;
            }
            to.Write(buffer, 0, count);
            left -= count;
        }
    }

    private void SaveAll(Stream? destination, int bufferSize, long length)
    {
        ArgumentNullException.ThrowIfNull(destination);
        CheckBufferSize(bufferSize);
        var own = Own;
        FromBeginning(own, () => Copy(own, destination, bufferSize, length));
        destination.Flush();
    }

    /// <summary>Replaces a file after everything has been read: it may be the file that the container reads.</summary>
    private void SaveFile(string? filePath, int bufferSize, long length)
    {
        FileNames.Check(filePath, nameof(filePath));
        CheckBufferSize(bufferSize);
        var memory = new MemoryStream();
        SaveAll(memory, bufferSize, length);
        File.WriteAllBytes(filePath, memory.ToArray());
    }
}
