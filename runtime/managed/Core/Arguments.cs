// Reading arguments: from a slot of the wire to the .NET value that a member takes.
using System;
using System.Collections;
using System.Collections.Generic;
using System.IO;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;

namespace Zelmor.WrpGen.Core;

public static unsafe class Arguments
{
    private const ulong TicksMask = 0x3FFFFFFFFFFFFFFF;

    public static string? Text(PyStringArg* view)
    {
        if (view->Length < 0)
        {
            return null;
        }
        return view->CharSize switch
        {
            1 => System.Text.Encoding.Latin1.GetString((byte*)view->Data, view->Length),
            2 => new string((char*)view->Data, 0, view->Length),
            4 => FromCodePoints(new ReadOnlySpan<uint>(view->Data, view->Length)),
            _ => throw new ArgumentException($"A string has characters of {view->CharSize} bytes."),
        };
    }

    public static byte[]? Bytes(PyBytesArg* view)
    {
        return view->Length < 0 ? null : new ReadOnlySpan<byte>(view->Data, view->Length).ToArray();
    }

    /// <summary>Memory of the caller that the member writes to.</summary>
    public static Span<byte> Memory(PyBytesArg* view, string parameter)
    {
        return view->Length >= 0
            ? new Span<byte>(view->Data, view->Length) : throw new ArgumentNullException(parameter);
    }

    /// <summary>An instance of a class or an interface.</summary>
    public static T? Instance<T>(VariantArg* argument) where T : class
    {
        if (argument->Tag > HandleTag.Struct)
        {
            throw new InvalidCastException(
                $"Unable to cast object of type 'a Python object' to type '{typeof(T).FullName}'.");
        }
        return Handles.Argument<T>(argument->Value);
    }

    public static T Struct<T>(VariantArg* argument) where T : struct
    {
        var target = argument->Tag > HandleTag.Struct ? throw new InvalidCastException(
            $"Unable to cast object of type 'a Python object' to type '{typeof(T).FullName}'.")
            : Handles.Find(argument->Value);
        return target switch
        {
            T value => value,
            null => throw new NullReferenceException($"None cannot become a value of {typeof(T).FullName}"),
            _ => throw Handles.WrongTarget(target, typeof(T)),
        };
    }

    public static DateTime DateTime(long word)
    {
        var kind = ((ulong)word >> 62) switch
        {
            0 => DateTimeKind.Unspecified,
            1 => DateTimeKind.Utc,
            _ => DateTimeKind.Local,
        };
        return new DateTime((long)((ulong)word & TicksMask), kind);
    }

    public static DateTimeOffset DateTimeOffset(long* words)
    {
        return new DateTimeOffset(words[0], System.TimeSpan.FromTicks(words[1]));
    }

    public static TimeSpan TimeSpan(long ticks) => System.TimeSpan.FromTicks(ticks);

    public static decimal Decimal(uint* words)
    {
        return new decimal(new ReadOnlySpan<int>(words, 4));
    }

    public static Guid Guid(byte* bytes) => new(new ReadOnlySpan<byte>(bytes, 16));

    public static System.Drawing.PointF PointF(ShlPointFObject* point) => new((float)point->X, (float)point->Y);

    public static System.Drawing.Color Color(ShlColorObject* color)
    {
        if (color->State == 0)
        {
            return System.Drawing.Color.Empty;
        }
        return color->KnownColor != 0
            ? System.Drawing.Color.FromKnownColor((System.Drawing.KnownColor)color->KnownColor)
            : System.Drawing.Color.FromArgb((int)color->Argb);
    }

    /// <summary>A stream: a .NET one, or a Python file behind one.</summary>
    public static Stream? Stream(VariantArg* argument, BridgeModule module, ref Lending lent)
    {
        return argument->Tag > HandleTag.Struct
            ? new PythonFileStream(module, lent.Borrow(argument->Value))
            : Handles.Argument<Stream>(argument->Value);
    }

    // -- collections ------------------------------------------------------------------------------------------------

    public static T[]? Array<T>(VariantArg* argument, Element<T> element)
    {
        return argument->Tag > HandleTag.Struct
            ? PythonElements.ToArray(*argument, element)
            : Handles.Argument<T[]>(argument->Value);
    }

    /// <summary>An array, or one of the type that elements become without a loss where not all of a Python list are of
    /// the first: an overload that takes points with fractions is not tried where another takes any list.</summary>
    public static T[]? Array<T, TWide>(VariantArg* argument, Element<T> element, Element<TWide> wide, out TWide[]? wider)
    {
        wider = null;
        try
        {
            return Array(argument, element);
        }
        catch (PythonException)
        {
            if (TryRead(argument, wide, out wider))
            {
                return null;
            }
            throw;
        }
    }

    private static bool TryRead<T>(VariantArg* argument, Element<T> element, out T[]? array)
    {
        try
        {
            array = Array(argument, element);
            return true;
        }
        catch (PythonException)
        {
            array = null;
            return false; // what it is not says the first failure
        }
    }

    /// <summary>Stores the elements of an array, which a member has changed, in the Python list that it was read from.
    /// </summary>
    public static void WriteBack<T>(VariantArg* argument, T[]? array, BridgeModule module)
    {
        if (argument->Tag <= HandleTag.Struct || array == null)
        {
            return; // the array is the caller's own
        }
        using var held = PyRef.Borrow(argument->Value);
        var list = new PythonList(module, held, argument->Tag == HandleTag.PyObject);
        for (var i = 0; i < array.Length; i++)
        {
            list[i] = array[i];
        }
    }

    public static List<T>? List<T>(VariantArg* argument, Element<T> element)
    {
        return argument->Tag > HandleTag.Struct
            ? new List<T>(PythonElements.ToArray(*argument, element))
            : Handles.Argument<List<T>>(argument->Value);
    }

    /// <summary>A collection that Python lists are never taken for, by its interface.</summary>
    public static T? Collection<T>(VariantArg* argument) where T : class => Instance<T>(argument);

    public static Array? AnyArray(VariantArg* argument)
    {
        return argument->Tag > HandleTag.Struct
            ? PythonElements.ToArray(*argument, Element.Anything)
            : Handles.Argument<Array>(argument->Value);
    }

    public static ArrayList? AnyArrayList(VariantArg* argument)
    {
        return argument->Tag > HandleTag.Struct
            ? new ArrayList(PythonElements.ToArray(*argument, Element.Anything))
            : Handles.Argument<ArrayList>(argument->Value);
    }

    public static IList? AnyList(VariantArg* argument, BridgeModule module, ref Lending lent)
    {
        return argument->Tag > HandleTag.Struct
            ? new PythonList(module, lent.Borrow(argument->Value), argument->Tag == HandleTag.PyObject)
            : Handles.Argument<IList>(argument->Value);
    }

    public static ICollection? AnyCollection(VariantArg* argument, BridgeModule module, ref Lending lent)
    {
        return argument->Tag > HandleTag.Struct
            ? new PythonCollection(module, lent.Borrow(argument->Value))
            : Handles.Argument<ICollection>(argument->Value);
    }

    public static IEnumerable? AnyEnumerable(VariantArg* argument, BridgeModule module, ref Lending lent)
    {
        return argument->Tag > HandleTag.Struct
            ? new PythonEnumerable(module, lent.Borrow(argument->Value))
            : Handles.Argument<IEnumerable>(argument->Value);
    }

    public static IEnumerator? AnyEnumerator(VariantArg* argument, ref Lending lent)
    {
        return argument->Tag > HandleTag.Struct
            ? new PythonEnumerator(lent.Borrow(argument->Value))
            : Handles.Argument<IEnumerator>(argument->Value);
    }

    // -- values of any type -----------------------------------------------------------------------------------------

    public static object? Anything(VariantArg* argument)
    {
        var value = argument->Value;
        switch ((VariantTag)argument->Tag)
        {
            case VariantTag.Null:
                return null;
            case VariantTag.Object:
                return Handles.Get<object>(value);
            case VariantTag.Struct:
                return RuntimeHelpers.GetObjectValue(Handles.Get<object>(value));
            case VariantTag.String:
                return PythonText(value);
            case VariantTag.Buffer:
                return PythonBytes(value);
            case VariantTag.Bool:
                return Python.Read->Bool(value) != 0;
            case VariantTag.Int:
                return PythonInt(value);
            case VariantTag.Float:
                double number;
                return Python.Read->Float(value, &number) != 0 ? number : throw Python.Failed("Reading a float");
            case VariantTag.Decimal:
                return PythonDecimal(Python.Read->Decimal, value);
            case VariantTag.DecimalTuple:
                return PythonDecimal(Python.Read->DecimalTuple, value);
            case VariantTag.DateTime:
                return PythonDate(Python.Read->DateTime, value);
            case VariantTag.Date:
                return PythonDate(Python.Read->Date, value);
            case VariantTag.Time:
                return PythonDate(Python.Read->Time, value);
            case VariantTag.TimeDelta:
                long ticks;
                return Python.Read->TimeDelta(value, &ticks) != 0
                    ? TimeSpan(ticks) : throw Python.Failed("Reading a timedelta");
            case VariantTag.Uuid:
                var bytes = stackalloc byte[16];
                return Python.Read->Guid(value, bytes) != 0 ? Guid(bytes) : throw Python.Failed("Reading a UUID");
            case VariantTag.List:
                return new ArrayList(PythonElements.ToArray(
                    new VariantArg { Tag = HandleTag.PyObject, Value = value }, Element.Anything));
            case VariantTag.Tuple:
                return PythonElements.ToArray(
                    new VariantArg { Tag = HandleTag.PySequence, Value = value }, Element.Anything);
            default:
                throw new ArgumentException($"The value has the unknown variant tag {argument->Tag}.");
        }
    }

    private static string? PythonText(nint text)
    {
        var view = new PyStringArg { Length = -1 };
        return Python.Read->Text(text, &view) != 0 ? Text(&view) : throw Python.Failed("Reading a str");
    }

    private static byte[]? PythonBytes(nint item)
    {
        // Only Python knows the size and the layout of its buffer record.
        var record = NativeMemory.Alloc(Python.Buffers->GetSize());
        try
        {
            Python.Buffers->Create(record);
            var view = new PyBytesArg { Length = -1 };
            var read = Python.Buffers->Read(item, record, &view);
            try
            {
                return read != 0 ? Bytes(&view) : throw Python.Failed("Reading a buffer");
            }
            finally
            {
                if (view.Acquired != 0)
                {
                    Python.Buffers->Release(record);
                }
            }
        }
        finally
        {
            NativeMemory.Free(record);
        }
    }

    private static object PythonInt(nint item)
    {
        long word;
        return Python.Read->Int(item, &word) switch
        {
            1 => (object)(int)word,
            2 => word,
            3 => (ulong)word,
            _ => throw Python.Failed("Reading an int"),
        };
    }

    private static object PythonDecimal(delegate* unmanaged<nint, uint*, int> read, nint item)
    {
        var words = stackalloc uint[4];
        return read(item, words) != 0 ? Decimal(words) : throw Python.Failed("Reading a decimal");
    }

    private static object PythonDate(delegate* unmanaged<nint, long*, int> read, nint item)
    {
        var words = stackalloc long[2];
        return read(item, words) switch
        {
            1 => DateTime(words[0]),
            2 => (object)DateTimeOffset(words),
            _ => throw Python.Failed("Reading a date or time"),
        };
    }

    private static string FromCodePoints(ReadOnlySpan<uint> points)
    {
        var units = 0;
        foreach (var point in points)
        {
            units += point > 0xFFFF ? 2 : 1;
        }
        var text = new string('\0', units);
        fixed (char* data = text)
        {
            var next = data; // the string is not shared yet
            foreach (var point in points)
            {
                if (point > 0xFFFF)
                {
                    *next++ = (char)(0xD800 + ((point - 0x10000) >> 10));
                    *next++ = (char)(0xDC00 + ((point - 0x10000) & 0x3FF));
                }
                else
                {
                    *next++ = (char)point; // a lone surrogate, too
                }
            }
        }
        return text;
    }
}
