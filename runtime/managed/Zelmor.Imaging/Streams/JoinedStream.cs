// Several streams shown as one: pieces of them, one after the other.
//
// Reading and writing work on the stream of the piece at the position, so that a change is seen in that stream. Each
// access sets the position of the piece's stream, so that all streams have to be able to seek.
//
// A stream may be a Python file, and its code may do anything during a call: dispose of the joined stream, insert
// another piece, read from it. Positions that were computed before the call are therefore not used after it if the
// pieces have changed.
using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;

namespace Zelmor.Imaging;

internal sealed class JoinedStream : Stream
{
    private const int Zeros = 64 * 1024;

    private readonly List<Piece> _pieces = new();
    private long _changes; // of the pieces
    private long _position;
    private bool _isDisposed;

    /// <summary>Begins as the whole of a stream, at the same position. An owned stream is disposed of with this one.
    /// </summary>
    public JoinedStream(Stream stream, bool isOwned)
    {
        RequireSeeking(stream);
        _position = stream.Position;
        _pieces.Add(new Piece(stream, 0, stream.Length, isOwned));
    }

    public override bool CanRead => !_isDisposed && Streams().All(stream => stream.CanRead);

    public override bool CanWrite => !_isDisposed && Streams().All(stream => stream.CanWrite);

    public override bool CanSeek => !_isDisposed;

    public override long Length
    {
        get
        {
            RequireLive();
            return Total;
        }
    }

    public override long Position
    {
        get
        {
            RequireLive();
            return _position;
        }
        set => Seek(value, System.IO.SeekOrigin.Begin);
    }

    private long Total => _pieces.Sum(piece => piece.Length);

    public static InvalidOperationException Changed()
    {
        return new InvalidOperationException("The stream was changed by the file behind it while that was in use.");
    }

    /// <summary>Inserts the whole of a stream at a position; the bytes from there on follow it.</summary>
    public void Insert(long position, Stream stream, bool isOwned)
    {
        RequireSeeking(stream);
        var length = stream.Length;
        RequireLive();
        if (position < 0 || position > Total)
        {
            throw new ArgumentOutOfRangeException(
                nameof(position), $"The position {position} lies outside a stream of {Total} bytes.");
        }
        _changes++;
        var (index, offset) = Find(position);
        if (offset > 0)
        {
            var piece = _pieces[index];
            var behind = new Piece(piece.Stream, piece.Start + offset, piece.Length - offset, piece.IsOwned);
            piece.Length = offset;
            index++;
            // A cut at the end leaves no piece behind it: bytes written there go to the inserted stream.
            if (behind.Length > 0)
            {
                _pieces.Insert(index, behind);
            }
        }
        _pieces.Insert(index, new Piece(stream, 0, length, isOwned));
    }

    public override long Seek(long offset, System.IO.SeekOrigin origin)
    {
        RequireLive();
        var from = origin switch
        {
            System.IO.SeekOrigin.Begin => 0,
            System.IO.SeekOrigin.Current => _position,
            System.IO.SeekOrigin.End => Total,
            _ => throw new ArgumentException($"{origin} is no origin.", nameof(origin)),
        };
        var target = unchecked(from + offset);
        if (target < 0)
        {
            throw new IOException("The position cannot be moved before the beginning of the stream.");
        }
        return _position = target;
    }

    /// <summary>A longer stream is filled up with zeros at the end of the last piece. For a shorter one the pieces are
    /// cut, but not their streams.</summary>
    public override void SetLength(long value)
    {
        RequireLive();
        ArgumentOutOfRangeException.ThrowIfNegative(value);
        if (value > Total)
        {
            AppendZeros(value - Total);
        }
        else
        {
            _changes++;
            var (index, offset) = Find(value);
            _pieces[index].Length = offset;
            foreach (var piece in _pieces.Skip(index + 1))
            {
                piece.Length = 0;
            }
        }
        _position = Math.Min(_position, value);
    }

    public override int Read(byte[] buffer, int offset, int count)
    {
        ValidateBufferArguments(buffer, offset, count);
        return Read(buffer.AsSpan(offset, count));
    }

    public override int Read(Span<byte> buffer)
    {
        RequireLive();
        var begin = _position;
        if (buffer.IsEmpty || begin >= Total)
        {
            return 0;
        }
        var since = _changes;
        var (index, offset) = Find(begin);
        var piece = _pieces[index];
        var most = (int)Math.Min(buffer.Length, piece.Length - offset);
        piece.Stream.Position = piece.Start + offset;
        var count = piece.Stream.Read(buffer[..most]);
        RequireUnchanged(since);
        if (count == 0)
        {
            throw new EndOfStreamException("A stream that was joined has become shorter.");
        }
        _position = begin + count;
        return count;
    }

    public override void Write(byte[] buffer, int offset, int count)
    {
        ValidateBufferArguments(buffer, offset, count);
        Write(buffer.AsSpan(offset, count));
    }

    public override void Write(ReadOnlySpan<byte> buffer)
    {
        RequireLive();
        var at = _position;
        if (!buffer.IsEmpty && at > Total)
        {
            AppendZeros(at - Total);
        }
        while (!buffer.IsEmpty)
        {
            var since = _changes;
            var (index, offset) = Find(at);
            var piece = _pieces[index];
            var isLast = index + 1 == _pieces.Count;
            var part = buffer[..(isLast ? buffer.Length : (int)Math.Min(buffer.Length, piece.Length - offset))];
            piece.Stream.Position = piece.Start + offset;
            piece.Stream.Write(part);
            RequireUnchanged(since);
            buffer = buffer[part.Length..];
            _position = at += part.Length;
            piece.Length = Math.Max(piece.Length, offset + part.Length);
        }
    }

    public override void Flush()
    {
        RequireLive();
        foreach (var stream in Streams())
        {
            if (stream.CanWrite)
            {
                stream.Flush();
            }
        }
    }

    protected override void Dispose(bool disposing)
    {
        if (disposing && !_isDisposed)
        {
            _isDisposed = true;
            var pieces = _pieces.ToArray();
            _pieces.Clear();
            foreach (var piece in pieces)
            {
                if (piece.IsOwned)
                {
                    piece.Stream.Dispose();
                }
            }
        }
        base.Dispose(disposing);
    }

    private static void RequireSeeking(Stream stream)
    {
        if (!stream.CanSeek)
        {
            throw new NotSupportedException("A stream that cannot seek cannot be joined with others.");
        }
    }

    private void RequireLive() => ObjectDisposedException.ThrowIf(_isDisposed, this);

    private void RequireUnchanged(long since)
    {
        RequireLive();
        if (_changes != since)
        {
            throw Changed();
        }
    }

    private Stream[] Streams() => _pieces.Select(piece => piece.Stream).ToArray();

    /// <summary>The piece at a position and the offset inside it; the end belongs to the last piece.</summary>
    private (int Index, long Offset) Find(long position)
    {
        var index = 0;
        while (index + 1 < _pieces.Count && position >= _pieces[index].Length)
        {
            position -= _pieces[index++].Length;
        }
        return (index, position);
    }

    /// <summary>If the last piece is a part of its stream, that stream has bytes behind the piece, which are
    /// overwritten by zeros. Behind the end of the stream one zero is written at the last place: the stream fills the
    /// gap by itself, or refuses at once.</summary>
    private void AppendZeros(long count)
    {
        var since = _changes;
        var piece = _pieces[^1];
        var length = piece.Length;
        var end = piece.Start + length;
        var newEnd = unchecked(end + count);
        if (newEnd < 0)
        {
            throw new IOException("The stream is too long.");
        }
        var zeros = new byte[Math.Min(count, Zeros)];
        var covered = Math.Min(newEnd, Math.Max(end, piece.Stream.Length));
        piece.Stream.Position = end;
        for (var at = end; at < covered; at += Zeros)
        {
            piece.Stream.Write(zeros.AsSpan(0, (int)Math.Min(Zeros, covered - at)));
        }
        if (covered < newEnd)
        {
            piece.Stream.Position = newEnd - 1;
            piece.Stream.Write(zeros.AsSpan(0, 1));
        }
        RequireUnchanged(since);
        piece.Length = Math.Max(piece.Length, length + count);
    }

    private sealed class Piece
    {
        public Piece(Stream stream, long start, long length, bool isOwned)
        {
            Stream = stream;
            Start = start;
            Length = length;
            IsOwned = isOwned;
        }

        public Stream Stream { get; }

        public long Start { get; }

        public long Length { get; set; }

        public bool IsOwned { get; }
    }
}
