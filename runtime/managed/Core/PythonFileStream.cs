// A Python file as a stream that any .NET code can use.
//
// A file is code of a user: it may raise, and it may give wrong answers. What it raises becomes an exception with
// Python's text; an answer that cannot be true is refused and never used to count with.
using System;
using System.IO;

namespace Zelmor.WrpGen.Core;

public sealed unsafe class PythonFileStream : Stream, IPythonProxy
{
    // The functions of the module that gave the file: they show memory in a class that not all modules have.
    private readonly PyFileCallbacks* _calls;
    private readonly PyRef _file;
    private bool _isClosed;

    public PythonFileStream(BridgeModule module, PyRef file)
    {
        _calls = module.Tables->Files;
        _file = file;
    }

    public nint PythonObject => _file.Item;

    /// <summary>Streams over one Python file are equal.</summary>
    public override bool Equals(object? obj) => obj is PythonFileStream other && other.PythonObject == PythonObject;

    public override int GetHashCode() => PythonObject.GetHashCode();

    public override bool CanRead => Capability(_calls->Readable(_file.Item), "readable()");

    public override bool CanWrite => Capability(_calls->Writable(_file.Item), "writable()");

    public override bool CanSeek => Capability(_calls->Seekable(_file.Item), "seekable()");

    public override long Length
    {
        get
        {
            var length = _calls->Length(_file.Item);
            return length switch
            {
                -2 => throw new NotSupportedException("The stream does not support seeking."),
                -3 => throw new ObjectDisposedException(GetType().FullName),
                _ => Checked(length, "Finding out the length of the stream"),
            };
        }
    }

    public override long Position
    {
        get => Checked(_calls->Tell(_file.Item), "tell() of the stream");
        set => Seek(value, SeekOrigin.Begin);
    }

    public override long Seek(long offset, SeekOrigin origin)
    {
        return Checked(_calls->Seek(_file.Item, offset, (int)origin), "seek() of the stream");
    }

    public override void SetLength(long value)
    {
        ArgumentOutOfRangeException.ThrowIfNegative(value);
        var had = Length;
        if (value < had)
        {
            throw new NotSupportedException(
                "Setting the length of a Python file to less than it has is not possible from here: call its " +
                "truncate() instead.");
        }
        var kept = Math.Min(Position, value);
        if (value > had)
        {
            // A file fills the gap before what is written behind its end with zeros, or refuses.
            Position = value - 1;
            WriteByte(0);
        }
        Position = kept;
    }

    public override int Read(byte[] buffer, int offset, int count)
    {
        ValidateBufferArguments(buffer, offset, count);
        return Read(buffer.AsSpan(offset, count));
    }

    public override int Read(Span<byte> buffer)
    {
        if (buffer.IsEmpty)
        {
            return 0;
        }
        fixed (byte* data = buffer)
        {
            return CheckedCount(
                _calls->Read(_file.Item, data, buffer.Length), buffer.Length, "readinto() of the stream");
        }
    }

    public override int ReadByte()
    {
        // Unlike a block, a single byte tells a file that has nothing yet from one that is at its end.
        var value = _calls->ReadByte(_file.Item);
        return value != -2 ? value : throw Python.Failed("readinto() of the stream");
    }

    public override void Write(byte[] buffer, int offset, int count)
    {
        ValidateBufferArguments(buffer, offset, count);
        Write(buffer.AsSpan(offset, count));
    }

    public override void Write(ReadOnlySpan<byte> buffer)
    {
        fixed (byte* data = buffer)
        {
            for (var done = 0; done < buffer.Length;)
            {
                var given = buffer.Length - done;
                done += Taken(_calls->Write(_file.Item, data + done, given), given);
            }
        }
    }

    public override void WriteByte(byte value) => Taken(_calls->WriteByte(_file.Item, value), 1);

    public override void Flush()
    {
        if (_calls->Flush(_file.Item) < 0)
        {
            throw Python.Failed("flush() of the stream");
        }
    }

    protected override void Dispose(bool disposing)
    {
        if (disposing && !_isClosed)
        {
            _isClosed = true;
            _calls->Close(_file.Item);
        }
        base.Dispose(disposing);
    }

    private static bool Capability(int answer, string name)
    {
        return answer >= 0 ? answer != 0 : throw Python.Failed(name);
    }

    private static long Checked(long answer, string call)
    {
        return answer switch
        {
            >= 0 => answer,
            -1 => throw Python.Failed(call),
            _ => throw Impossible(call, answer, "a position or length is never negative"),
        };
    }

    private static int CheckedCount(int answer, int most, string call)
    {
        if (answer == -1)
        {
            throw Python.Failed(call);
        }
        return answer >= 0 && answer <= most
            ? answer : throw Impossible(call, answer, $"it had {most} bytes to work on");
    }

    private static int Taken(int answer, int given)
    {
        var count = CheckedCount(answer, given, "write() of the stream");
        return count > 0 ? count : throw new IOException("The stream took no bytes: its write() answered 0 or None.");
    }

    private static IOException Impossible(string call, long answer, string why)
    {
        return new IOException($"{call} answered {answer}, but {why}.");
    }
}
