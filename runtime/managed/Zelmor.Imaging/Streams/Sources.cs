// The sources: the places to which a new image is written. Each makes a container around a file or a stream.
using System;
using System.IO;

namespace Zelmor.Imaging.Sources;

public partial class FileSource
{
}

public partial class StreamSource
{
    // Without a stream the image is written to memory.
    [Implements("ctor_000_StreamSource")]
    public StreamSource() : this(new MemoryStream(), true)
    {
        HasOwnMemory = true;
    }

    /// <summary>Its stream is memory of its own, which stays open when the image that was written to it ends.</summary>
    internal bool HasOwnMemory { get; }

    [Implements("ctor_001_StreamSource")]
    public StreamSource(Stream? stream) : this(stream, false)
    {
    }

    [Implements("call_000_GetStreamContainer")]
    public override StreamContainer? GetStreamContainer()
    {
        var stream = Stream ?? throw new InvalidOperationException("The source has no stream.");
        return new StreamContainer(stream, DisposeStream);
    }
}

public partial class FileCreateSource
{
    [Implements("ctor_000_FileCreateSource")]
    public FileCreateSource(string? filePath) : this(filePath, false)
    {
    }

    [Implements("ctor_001_FileCreateSource")]
    public FileCreateSource(string? filePath, bool isTemporal)
    {
        FileNames.Check(filePath, nameof(filePath));
        FilePath = filePath;
        IsTemporal = isTemporal;
    }

    [Implements("call_000_GetStreamContainer")]
    public override StreamContainer? GetStreamContainer()
    {
        return FileStreamContainer.CreateFileStream(FilePath, IsTemporal);
    }
}

public partial class FileOpenSource
{
    [Implements("ctor_000_FileOpenSource")]
    public FileOpenSource(string? filePath)
    {
        FileNames.Check(filePath, nameof(filePath));
        FilePath = filePath;
    }

    [Implements("call_000_GetStreamContainer")]
    public override StreamContainer? GetStreamContainer() => FileStreamContainer.OpenFileStream(FilePath);
}
