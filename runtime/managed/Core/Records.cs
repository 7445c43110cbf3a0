// The records that cross between Python and .NET, byte for byte, and what the integers in them mean.
//
// The other half is built separately from exchange/wire/records.h and tags.h: order, widths and values are fixed. A
// record belongs to the caller and lives for one call. A Python object is an opaque address (`nint`).
using System.Runtime.InteropServices;

namespace Zelmor.WrpGen.Core;

/// <summary>A tagged argument. The tag is a <see cref="HandleTag"/> or, where the declared type is `object`, a
/// <see cref="VariantTag"/>.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct VariantArg
{
    public int Tag;
    public nint Value; // a handle, or a Python object that is borrowed for the call
}

/// <summary>A view of a Python `str` in its own storage.</summary>
[StructLayout(LayoutKind.Sequential)]
public unsafe struct PyStringArg
{
    public int Length; // in code points; -1 is null
    public int CharSize; // 1, 2 or 4 bytes for a code point
    public void* Data;
}

/// <summary>A view of contiguous memory.</summary>
[StructLayout(LayoutKind.Sequential)]
public unsafe struct PyBytesArg
{
    public int Acquired; // 1 while Python's buffer is locked
    public int Length; // -1 is null
    public byte* Data;
}

/// <summary>A result of interface type.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct PyObjectOutArg
{
    public nint Handle; // the receiver owns it
    public long TypeId;
}

/// <summary>A result that is an object, a struct, or a Python object that .NET was holding.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct PyCollectionArg
{
    public int Kind; // a ResultKind
    public nint Value;
    public long TypeId;
}

/// <summary>A color as the drawing module has it.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct ShlColorObject
{
    public uint Argb;
    public short KnownColor;
    public short State; // 0 for the empty color
}

/// <summary>A point as the drawing module has it.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct ShlPointFObject
{
    public double X;
    public double Y;
}

/// <summary>Tags of arguments whose declared type is a class, struct, interface or collection.</summary>
public static class HandleTag
{
    public const int Object = 0; // also null
    public const int Struct = 1;
    public const int PyObject = 2; // a list, an iterable or a file that stands in for an object
    public const int PySequence = 3; // any other sequence
}

/// <summary>Tags of arguments whose declared type is `object`.</summary>
public enum VariantTag
{
    Null = 0,
    Object = 1,
    Struct = 2,
    String = 3, // from here on the value is a Python object
    Buffer = 4,
    Bool = 5,
    Int = 6,
    Float = 7,
    Decimal = 8,
    DecimalTuple = 9,
    DateTime = 10,
    Date = 11,
    Time = 12,
    TimeDelta = 13,
    Uuid = 14,
    List = 15,
    Tuple = 16,
}

/// <summary>What the value of a <see cref="PyCollectionArg"/> is.</summary>
public static class ResultKind
{
    public const int Object = 0;
    public const int Struct = 1;
    public const int PyObject = 2;
}

/// <summary>What the services of collections answer.</summary>
public static class ElementStatus
{
    public const int Delivered = 0;
    public const int Empty = 1; // also the end of an enumeration
    public const int OutOfRange = 2;
}
