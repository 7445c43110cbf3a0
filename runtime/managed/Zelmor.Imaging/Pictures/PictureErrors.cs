// The errors of the picture library as exceptions of .NET.
using System;
using System.Collections.Generic;
using System.IO;
using System.Runtime.ExceptionServices;
using System.Text;

namespace Zelmor.Imaging;

internal static unsafe class PictureErrors
{
    // By the name that the library gives; what a text says is said in full there.
    private static readonly Dictionary<string, Func<string, Exception>> s_made = new()
    {
        ["ArgumentException"] = text => new ArgumentException(text),
        ["ArgumentNullException"] = text => new ArgumentNullException(null, text),
        ["ArgumentOutOfRangeException"] = text => new ArgumentOutOfRangeException(null, text),
        ["DirectoryNotFoundException"] = text => new DirectoryNotFoundException(text),
        ["DllNotFoundException"] = text => new DllNotFoundException(text),
        ["EndOfStreamException"] = text => new EndOfStreamException(text),
        ["FileNotFoundException"] = text => new FileNotFoundException(text),
        ["FormatException"] = text => new FormatException(text),
        ["IOException"] = text => new IOException(text),
        ["ImageLoadException"] = text => new ImageLoadException(text),
        ["ImageSaveException"] = text => new ImageSaveException(text),
        ["IndexOutOfRangeException"] = text => new IndexOutOfRangeException(text),
        ["InvalidCastException"] = text => new InvalidCastException(text),
        ["InvalidDataException"] = text => new InvalidDataException(text),
        ["InvalidOperationException"] = text => new InvalidOperationException(text),
        ["MissingMemberException"] = text => new MissingMemberException(text),
        ["NotSupportedException"] = text => new NotSupportedException(text),
        ["NullReferenceException"] = text => new NullReferenceException(text),
        ["ObjectDisposedException"] = text => new ObjectDisposedException(null, text),
        ["OperationCanceledException"] = text => new OperationCanceledException(text),
        ["OperationInterruptedException"] = text => new OperationInterruptedException(text),
        ["OutOfMemoryException"] = text => new OutOfMemoryException(text),
        ["OverflowException"] = text => new OverflowException(text),
        ["PathTooLongException"] = text => new PathTooLongException(text),
        ["SystemException"] = text => new SystemException(text),
        ["TypeLoadException"] = text => new TypeLoadException(text),
        ["UnauthorizedAccessException"] = text => new UnauthorizedAccessException(text),
        ["XmlException"] = text => new System.Xml.XmlException(text),
    };

    // What a stream has thrown while the library used it, in this thread.
    [ThreadStatic]
    private static Exception? s_ofStream;

    public static void Keep(Exception exception) => s_ofStream = exception;

    public static Exception? Kept => s_ofStream;

    /// <summary>Throws the error that the thread was left with: the exception of a stream itself where the library only
    /// passed it on.</summary>
    public static void Throw()
    {
        PictureValue name, text;
        PictureLibrary.Error(&name, &text);
        var type = new string(name.Chars);
        var message = new string(text.Chars);
        var own = s_ofStream;
        s_ofStream = null;
        if (own != null && own.GetType().Name == type)
        {
            // Half a surrogate pair does not get through.
            if (Encoding.UTF8.GetString(Encoding.UTF8.GetBytes(own.Message)) == message)
            {
                ExceptionDispatchInfo.Throw(own);
            }
            // The library added what it was doing.
            if (!s_made.ContainsKey(type) && Activator.CreateInstance(own.GetType(), message) is Exception longer)
            {
                throw longer;
            }
        }
        throw s_made.TryGetValue(type, out var make) ? make(message) : new ImageException(message);
    }
}

/// <summary>Something is wrong with a picture.</summary>
public class ImageException : Exception
{
    /// <summary>Makes one with a message.</summary>
    public ImageException(string message) : base(message)
    {
    }
}

/// <summary>A file cannot be read as a picture.</summary>
public class ImageLoadException : ImageException
{
    /// <summary>Makes one with a message.</summary>
    public ImageLoadException(string message) : base(message)
    {
    }
}

/// <summary>A picture cannot be written.</summary>
public class ImageSaveException : ImageException
{
    /// <summary>Makes one with a message.</summary>
    public ImageSaveException(string message) : base(message)
    {
    }
}

/// <summary>The work on a picture was interrupted by its monitor.</summary>
public class OperationInterruptedException : Exception
{
    /// <summary>Makes one with a message.</summary>
    public OperationInterruptedException(string message) : base(message)
    {
    }
}
