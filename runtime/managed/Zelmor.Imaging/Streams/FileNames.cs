// Names of files that callers give.
using System;
using System.Diagnostics.CodeAnalysis;

namespace Zelmor.Imaging;

internal static class FileNames
{
    /// <summary>Refuses what names no file.</summary>
    public static void Check([NotNull] string? path, string parameter)
    {
        ArgumentException.ThrowIfNullOrEmpty(path, parameter);
        if (path.Contains('\0'))
        {
            throw new ArgumentException("The name of a file has no null characters.", parameter);
        }
    }
}
