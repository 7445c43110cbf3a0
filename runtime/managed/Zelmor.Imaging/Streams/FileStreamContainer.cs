// A container over a file, which is removed with the container if it is temporary.
using System;
using System.IO;
using System.Runtime.CompilerServices;

namespace Zelmor.Imaging;

public partial class FileStreamContainer
{
    // Those that the process may end with: no finalizer runs then.
    private static readonly ConditionalWeakTable<FileStreamContainer, string> s_open = new();

    /// <summary>From the root on: the working directory may be another one when the file is removed.</summary>
    private readonly string? _path;

    static FileStreamContainer()
    {
        AppDomain.CurrentDomain.ProcessExit += (_, _) =>
        {
            foreach (var (container, _) in s_open)
            {
                container.RemoveUnattended();
            }
        };
    }

    private FileStreamContainer(FileStream stream, string filePath, bool isCreated) : base(stream, true)
    {
        FilePath = filePath;
        IsCreated = isCreated;
        _path = stream.Name;
        s_open.Add(this, _path);
    }

    /// <summary>Around a file that the picture library has open.</summary>
    internal FileStreamContainer(Stream stream, string filePath) : base(stream, true)
    {
        FilePath = filePath;
        _path = Path.GetFullPath(filePath);
        s_open.Add(this, _path);
    }

    /// <summary>Removes a temporary file that nobody has disposed of.</summary>
    ~FileStreamContainer()
    {
        RemoveUnattended();
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
        s_open.Remove(this);
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
        if (!IsTemporal || _path == null)
        {
            return;
        }
        try
        {
            File.Delete(_path);
        }
        catch (DirectoryNotFoundException)
        {
            // Somebody has removed it, with all that was around it.
        }
    }

    /// <summary>Where an error has nobody to tell it to, and would end the process.</summary>
    private void RemoveUnattended()
    {
        try
        {
            RemoveTemporary();
        }
        catch (Exception error) when (error is IOException or UnauthorizedAccessException)
        {
            // The file stays where it cannot be removed.
        }
    }
}
