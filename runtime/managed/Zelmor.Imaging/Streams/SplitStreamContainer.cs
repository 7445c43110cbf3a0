// A container into which other streams can be inserted. It works on its stream itself until the first insertion, and on
// a joined stream from then on.
using System;
using System.IO;

namespace Zelmor.Imaging;

public partial class SplitStreamContainer
{
    [Implements("ctor_000_SplitStreamContainer")]
    public SplitStreamContainer(Stream? stream) : this(stream, false)
    {
    }

    [Implements("ctor_001_SplitStreamContainer")]
    public SplitStreamContainer(Stream? stream, bool disposeStream) : base(stream, disposeStream)
    {
    }

    [Implements("ctor_002_SplitStreamContainer")]
    public SplitStreamContainer(StreamContainer? stream, bool disposeStream) : base(StreamOf(stream), disposeStream)
    {
    }

    [Implements("call_000_CreateFromStream")]
    public static SplitStreamContainer? CreateFromStream(Stream? stream, bool disposeStream) => new(stream, disposeStream);

    [Implements("call_000_CreateFromStreamContainer")]
    public static SplitStreamContainer? CreateFromStreamContainer(StreamContainer? stream, bool disposeStream)
    {
        return new(stream, disposeStream);
    }

    [Implements("call_000_Insert")]
    public virtual void Insert(int position, StreamContainer? stream, bool disposeStream)
    {
        Join(position, StreamOf(stream), disposeStream);
    }

    private static Stream StreamOf(StreamContainer? stream)
    {
        ArgumentNullException.ThrowIfNull(stream);
        return (Stream)stream;
    }
}
