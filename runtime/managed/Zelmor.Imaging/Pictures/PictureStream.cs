// A stream of the picture library as one of .NET, through a stream container around it.
using System;
using System.IO;

namespace Zelmor.Imaging;

internal sealed unsafe class PictureStream : Stream
{
    private static readonly PictureEntry s_make = Of("ctor_001_StreamContainer");
    private static readonly PictureEntry s_shown = Of("get_Stream");
    private static readonly PictureEntry s_canRead = Of("get_CanRead");
    private static readonly PictureEntry s_canSeek = Of("get_CanSeek");
    private static readonly PictureEntry s_canWrite = Of("get_CanWrite");
    private static readonly PictureEntry s_length = Of("get_Length");
    private static readonly PictureEntry s_setLength = Of("set_Length");
    private static readonly PictureEntry s_position = Of("get_Position");
    private static readonly PictureEntry s_read = Of("call_001_Read");
    private static readonly PictureEntry s_write = Of("call_001_Write");
    private static readonly PictureEntry s_seek = Of("call_000_Seek");
    private static readonly PictureEntry s_flush = Of("call_000_Flush");

    private readonly IPictureObject _container;
    private readonly IPictureObject? _stream;

    /// <summary>The stream of a container; the handle stays the caller's.</summary>
    public PictureStream(IPictureObject container)
    {
        _container = container;
    }

    /// <summary>A stream that a call has given.</summary>
    public PictureStream(in PictureValue given)
    {
        _stream = new PictureAnchor(given);
        _container = new PictureAnchor();
        Pictures.Make(_container, s_make, [_stream, true]);
    }

    /// <summary>The stream of the library; null where there is only its container.</summary>
    public IPictureObject? Inner => _stream;

    /// <summary>The stream as a program knows it: the one of .NET that the library was given, or else this one.</summary>
    public Stream Shown
    {
        get
        {
            var given = _stream == null ? Pictures.Get<Stream>(_container, s_shown, []) : this;
            return given is PictureStream ? this : given;
        }
    }

    public override bool CanRead => Pictures.Get<bool>(_container, s_canRead, []);

    public override bool CanSeek => Pictures.Get<bool>(_container, s_canSeek, []);

    public override bool CanWrite => Pictures.Get<bool>(_container, s_canWrite, []);

    public override long Length => Pictures.Get<long>(_container, s_length, []);

    public override long Position
    {
        get => Pictures.Get<long>(_container, s_position, []);
        set => Seek(value, System.IO.SeekOrigin.Begin);
    }

    public override void Flush() => Pictures.Run(_container, s_flush, []);

    public override void SetLength(long value) => Pictures.Run(_container, s_setLength, [value]);

    public override long Seek(long offset, System.IO.SeekOrigin origin)
    {
        return Pictures.Get<long>(_container, s_seek, [offset, (SeekOrigin)origin]);
    }

    public override int Read(byte[] buffer, int offset, int count) => Read(buffer.AsSpan(offset, count));

    public override int Read(Span<byte> buffer)
    {
        fixed (byte* memory = buffer)
        {
            return Pictures.Get<int>(_container, s_read,
                                     [PictureMemory.Of(memory, buffer.Length), 0, buffer.Length]);
        }
    }

    public override void Write(byte[] buffer, int offset, int count)
    {
        Pictures.Run(_container, s_write, [buffer, offset, count]);
    }

    protected override void Dispose(bool disposing)
    {
        if (disposing)
        {
            Pictures.Dispose(_container);
        }
        base.Dispose(disposing);
    }

    private static PictureEntry Of(string name) => new("Zelmor.Imaging.StreamContainer", name);
}
