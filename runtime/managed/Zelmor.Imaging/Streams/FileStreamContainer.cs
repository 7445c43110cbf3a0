// A container over a file, which is removed with the container if it is temporary.
using System;
using System.IO;

namespace Zelmor.Imaging;

public partial class FileStreamContainer
{
    private FileStreamContainer(FileStream stream, string filePath, bool isCreated) : base(stream, true)
    {
        FilePath = filePath;
        IsCreated = isCreated;
    }

    /// <summary>Around a file that the picture library has open.</summary>
    internal FileStreamContainer(Stream stream, string filePath) : base(stream, true)
    {
        FilePath = filePath;
    }

    /// <summary>Removes a temporary file that nobody has disposed of.</summary>
    ~FileStreamContainer()
    {
        RemoveTemporary();
    }

    [Implements("get_IsCreated")]
    public virtual bool IsCreated { get; }

    [Implements("get_FilePath")]
    public virtual string? FilePath { get; }

    [Implements("call_000_CreateFileStream")]
    public static FileStreamContainer? CreateFileStream(string? fileLocation, bool isTemporal)
    {
        FileNames.Check(fileLocation, nameof(fileLocation));
        var file = Open(fileLocation, FileMode.Create, FileAccess.ReadWrite);
        return new FileStreamContainer(file, fileLocation, true) { IsTemporal = isTemporal };
    }

    // Opens an existing file, for reading alone where it cannot be written.
    [Implements("call_000_OpenFileStream")]
    public static FileStreamContainer? OpenFileStream(string? fileLocation)
    {
        FileNames.Check(fileLocation, nameof(fileLocation));
        FileStream file;
        try
        {
            file = Open(fileLocation, FileMode.Open, FileAccess.ReadWrite);
        }
        catch (UnauthorizedAccessException)
        {
            file = Open(fileLocation, FileMode.Open, FileAccess.Read);
        }
        return new FileStreamContainer(file, fileLocation, false);
    }

    /// <inheritdoc/>
    protected override void ReleaseManagedResources()
    {
        base.ReleaseManagedResources();
        RemoveTemporary();
    }

    /// <summary>Without a buffer, so that what was written is in the file.</summary>
    private static FileStream Open(string path, FileMode mode, FileAccess access)
    {
        return new FileStream(path, mode, access, FileShare.ReadWrite, bufferSize: 0);
    }

    private void RemoveTemporary()
    {
        if (IsTemporal && FilePath != null)
        {
            File.Delete(FilePath);
        }
    }
}
