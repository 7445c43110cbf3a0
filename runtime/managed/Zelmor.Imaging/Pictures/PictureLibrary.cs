// The picture library: a native library with the objects of pictures, options and frames, which this one presents.
//
// Its interface is runtime/native/c_api/pictures.h. It is loaded at the first use of such an object, from the directory
// of this assembly.
using System;
using System.IO;
using System.Runtime.InteropServices;

namespace Zelmor.Imaging;

/// <summary>The kinds of values of the interface.</summary>
internal enum PictureKind
{
    Null = 0,
    Bool = 1,
    Integer = 2,
    Unsigned = 3,
    Real = 4,
    Text = 5,
    Bytes = 6,
    Object = 7,
    Stream = 8,
    Decimal = 9,
    DateTime = 10,
    DateTimeOffset = 11,
    TimeSpan = 12,
    Guid = 13,
    Struct = 14,
    Numbers = 15,
    Items = 16,
    Enum = 17,
}

/// <summary>What an object of a result is besides.</summary>
internal enum PictureObjectKind
{
    Plain = 0,
    List = 1,
    Stream = 2,
    ChangedList = 3,
}

/// <summary>The changes of a list.</summary>
internal enum PictureChange
{
    Set = 0,
    Insert = 1,
    Remove = 2,
    Replace = 3,
}

/// <summary>The value types that cross as their fields.</summary>
internal enum PictureStruct
{
    Size = 0,
    SizeF = 1,
    Point = 2,
    PointF = 3,
    Rectangle = 4,
    RectangleF = 5,
    Color = 6,
    Cmyk = 7,
}

internal unsafe struct PictureValue
{
    public PictureKind Kind;
    public int Detail;
    public long Word;
    public void* Data;
    public long Length;

    public readonly ReadOnlySpan<char> Chars => new(Data, (int)Length);

    public readonly double Real => Kind == PictureKind.Real ? BitConverter.Int64BitsToDouble(Word) : Word;
}

internal unsafe struct PictureNamed
{
    public byte* Name;
    public PictureValue Value;
}

internal unsafe struct PictureColor
{
    public uint Argb;
    public short Known;
    public short State;
    public char* Name;
    public long Length;
}

/// <summary>The functions of the library.</summary>
internal static unsafe class PictureLibrary
{
    private const string FileName = "libzelmor_pictures.so";

    public static readonly delegate* unmanaged<byte*, byte*, nint*, int> Find;
    public static readonly delegate* unmanaged<nint, nint, PictureValue*, int, PictureValue*, int> Call;
    public static readonly delegate* unmanaged<byte*, PictureNamed*, int, PictureValue*, int> Make;
    public static readonly delegate* unmanaged<nint, byte*, PictureValue*, int> Stored;
    public static readonly delegate* unmanaged<nint, PictureValue*, int> Elements;
    public static readonly delegate* unmanaged<nint, long, PictureValue*, int> Item;
    public static readonly delegate* unmanaged<nint, int, long, PictureValue*, int> Change;
    public static readonly delegate* unmanaged<nint, PictureValue*, int> Enumerate;
    public static readonly delegate* unmanaged<nint, PictureValue*, int> Text;
    public static readonly delegate* unmanaged<nint, nint, int*, int> Equal;
    public static readonly delegate* unmanaged<nint, int*, int> Hash;
    public static readonly delegate* unmanaged<nint, int> Dispose;
    public static readonly delegate* unmanaged<nint, void> Release;
    public static readonly delegate* unmanaged<PictureValue*, PictureValue*, void> Error;

    static PictureLibrary()
    {
        var library = Load();
        Find = (delegate* unmanaged<byte*, byte*, nint*, int>)Function(library, "find");
        Call = (delegate* unmanaged<nint, nint, PictureValue*, int, PictureValue*, int>)Function(library, "call");
        Make = (delegate* unmanaged<byte*, PictureNamed*, int, PictureValue*, int>)Function(library, "make");
        Stored = (delegate* unmanaged<nint, byte*, PictureValue*, int>)Function(library, "stored");
        Elements = (delegate* unmanaged<nint, PictureValue*, int>)Function(library, "elements");
        Item = (delegate* unmanaged<nint, long, PictureValue*, int>)Function(library, "item");
        Change = (delegate* unmanaged<nint, int, long, PictureValue*, int>)Function(library, "change");
        Enumerate = (delegate* unmanaged<nint, PictureValue*, int>)Function(library, "enumerate");
        Text = (delegate* unmanaged<nint, PictureValue*, int>)Function(library, "text");
        Equal = (delegate* unmanaged<nint, nint, int*, int>)Function(library, "equals");
        Hash = (delegate* unmanaged<nint, int*, int>)Function(library, "hash");
        Dispose = (delegate* unmanaged<nint, int>)Function(library, "dispose");
        Release = (delegate* unmanaged<nint, void>)Function(library, "release");
        Error = (delegate* unmanaged<PictureValue*, PictureValue*, void>)Function(library, "error");
        var host = PictureHost.Functions();
        ((delegate* unmanaged<PictureHost.Table*, void>)Function(library, "start"))(&host);
    }

    private static nint Load()
    {
        var directory = Path.GetDirectoryName(typeof(PictureLibrary).Assembly.Location) ?? ".";
        var path = Path.Combine(directory, FileName);
        if (!File.Exists(path))
        {
            throw new DllNotFoundException(
                $"Pictures need the library {FileName}, which is not beside the assembly, in '{directory}'.");
        }
        return NativeLibrary.Load(path);
    }

    private static nint Function(nint library, string name)
    {
        return NativeLibrary.GetExport(library, $"zelmor_pictures_{name}");
    }
}
