// The callback tables that a Python module hands over: functions found by their position alone.
//
// A struct here is one table and its fields are the slots in order, as exchange/wire/callback_tables.h has them.
namespace Zelmor.WrpGen.Core;

public unsafe struct PyObjApiCallbacks
{
    public delegate* unmanaged<nint> GetNone;
    public delegate* unmanaged<nint, void> IncRef;
    public delegate* unmanaged<nint, void> DecRef;
}

// From a Python value to a .NET value; the tag of a variant picks the slot.
public unsafe struct PyReadCallbacks
{
    public delegate* unmanaged<nint, PyStringArg*, int> Text;
    public delegate* unmanaged<nint, byte> Bool;
    public delegate* unmanaged<nint, long*, int> Int;
    public delegate* unmanaged<nint, double*, int> Float;
    public delegate* unmanaged<nint, uint*, int> Decimal;
    public delegate* unmanaged<nint, uint*, int> DecimalTuple;
    public delegate* unmanaged<nint, long*, int> DateTime;
    public delegate* unmanaged<nint, long*, int> Date;
    public delegate* unmanaged<nint, long*, int> Time;
    public delegate* unmanaged<nint, long*, int> TimeDelta;
    public delegate* unmanaged<nint, byte*, int> Guid;
}

// From a .NET value to a new Python reference.
public unsafe struct PyWriteCallbacks
{
    public delegate* unmanaged<nint, long, nint> Instance;
    public delegate* unmanaged<int, nint> Bool;
    public delegate* unmanaged<int, nint> Int32;
    public delegate* unmanaged<uint, nint> UInt32;
    public delegate* unmanaged<long, nint> Int64;
    public delegate* unmanaged<ulong, nint> UInt64;
    public delegate* unmanaged<double, nint> Double;
    public delegate* unmanaged<uint*, nint> Decimal;
    public delegate* unmanaged<long*, nint> DateTime;
    public delegate* unmanaged<long*, nint> DateTimeOffset;
    public delegate* unmanaged<long, nint> TimeSpan;
    public delegate* unmanaged<char*, int, long, nint> TimeZone;
    public delegate* unmanaged<byte*, nint> Guid;
    public delegate* unmanaged<int, nint> Char;
}

public unsafe struct PyBufferCallbacks
{
    public delegate* unmanaged<nuint> GetSize;
    public delegate* unmanaged<void*, void> Create;
    public delegate* unmanaged<nint, void*, PyBytesArg*, int> Read;
    public delegate* unmanaged<void*, void> Release;
}

public unsafe struct PyTypeCallbacks
{
    public delegate* unmanaged<nint, long, nint*, int> TryWrite; // 1 written, 0 unknown type, -1 failed
}

public unsafe struct PyIteratorCallbacks
{
    public delegate* unmanaged<nint, nint*, VariantArg*, int> Next; // 0 element, 1 end, 2 failed
}

// Python collections, whatever their elements are.
public unsafe struct PyCollectionCallbacks
{
    public delegate* unmanaged<nint, int> ListLength;
    public delegate* unmanaged<nint, long> ListLongLength;
    public delegate* unmanaged<nint, int, int> RemoveAt;
    public delegate* unmanaged<nint, int> Clear;
    public delegate* unmanaged<nint, int> SequenceLength;
    public delegate* unmanaged<nint, long> SequenceLongLength;
    public delegate* unmanaged<nint, nint> GetEnumerator;
    public delegate* unmanaged<nint, int> ObjectLength;
    public delegate* unmanaged<int, nint*, nint*> CreateFastList;
    public delegate* unmanaged<long, nint*, nint*> CreateFastLongList;
    public delegate* unmanaged<nint, nint*, uint*, void**, int> GetUnicodeBytes;
}

// A Python list with elements of any type. A function that takes a value takes the reference over.
public unsafe struct PyListCallbacks
{
    public delegate* unmanaged<nint, int, VariantArg*, int> GetItem;
    public delegate* unmanaged<nint, int, nint, int> SetItem;
    public delegate* unmanaged<nint, nint, long> Add;
    public delegate* unmanaged<nint, int, nint, int> Insert;
    public delegate* unmanaged<nint, nint, int> Remove;
    public delegate* unmanaged<nint, nint, int> Contains;
    public delegate* unmanaged<nint, nint, int> IndexOf;
    public delegate* unmanaged<nint*, int, nint, void> SetFastItem;
    public delegate* unmanaged<nint, nint> WriteList; // wrappers of collections that Python has no class for
    public delegate* unmanaged<nint, nint> WriteArrayList;
    public delegate* unmanaged<nint, nint> WriteArray;
}

// Any other Python sequence.
public unsafe struct PySequenceCallbacks
{
    public delegate* unmanaged<nint, int, VariantArg*, int> GetItem;
    public delegate* unmanaged<nint, nint, int> Contains;
    public delegate* unmanaged<nint, nint, int> IndexOf;
}

// A Python file.
public unsafe struct PyFileCallbacks
{
    public delegate* unmanaged<nint, byte*, int, int> Write;
    public delegate* unmanaged<nint, int, int> WriteByte;
    public delegate* unmanaged<nint, byte*, int, int> Read;
    public delegate* unmanaged<nint, int> ReadByte;
    public delegate* unmanaged<nint, long, int, long> Seek;
    public delegate* unmanaged<nint, int> Flush;
    public delegate* unmanaged<nint, void> Close;
    public delegate* unmanaged<nint, int> Readable;
    public delegate* unmanaged<nint, int> Writable;
    public delegate* unmanaged<nint, int> Seekable;
    public delegate* unmanaged<nint, long> Tell;
    public delegate* unmanaged<nint, long> Length;
}

// The table of these tables.
public unsafe struct PyStaticCallbacks
{
    public PyReadCallbacks* Read;
    public PyWriteCallbacks* Write;
    public PyBufferCallbacks* Buffer;
    public PyTypeCallbacks* Types;
    public PyIteratorCallbacks* Iterators;
    public PyCollectionCallbacks* Collections;
    public PyListCallbacks* Lists;
    public PySequenceCallbacks* Sequences;
    public PyFileCallbacks* Files;
}
