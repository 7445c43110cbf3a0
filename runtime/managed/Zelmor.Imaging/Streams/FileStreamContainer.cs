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

    [Implements("get_IsCreated")]
    public virtual bool IsCreated { get; }

    [Implements("get_FilePath")]
    public virtual string? FilePath { get; }

    [Implements("call_000_CreateFileStream")]
    public static FileStreamContainer? CreateFileStream(string? fileLocation, bool isTemporal)
    {
        ArgumentException.ThrowIfNullOrEmpty(fileLocation);
        var file = new FileStream(fileLocation, FileMode.Create, FileAccess.ReadWrite, FileShare.ReadWrite);
        return new FileStreamContainer(file, fileLocation, true) { IsTemporal = isTemporal };
    }

    /// <summary>Opens an existing file, for reading alone where it cannot be written.</summary>
    [Implements("call_000_OpenFileStream")]
    public static FileStreamContainer? OpenFileStream(string? fileLocation)
    {
        ArgumentException.ThrowIfNullOrEmpty(fileLocation);
        FileStream file;
        try
        {
            file = new FileStream(fileLocation, FileMode.Open, FileAccess.ReadWrite, FileShare.ReadWrite);
        }
        catch (UnauthorizedAccessException)
        {
            file = new FileStream(fileLocation, FileMode.Open, FileAccess.Read, FileShare.ReadWrite);
        }
        return new FileStreamContainer(file, fileLocation, false);
    }

    protected override void ReleaseManagedResources()
    {
        base.ReleaseManagedResources();
        if (IsTemporal && FilePath != null)
        {
            File.Delete(FilePath);
        }
    }
}
