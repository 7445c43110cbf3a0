// Writing results: from a .NET value to the slots of the wire.
using System;
using System.Collections;
using System.IO;
using System.Runtime.CompilerServices;

namespace Zelmor.WrpGen.Core;

public static unsafe class Results
{
    public static nint Text(string? text) => text == null ? Python.None() : Python.Text(text);

    public static nint Bytes(byte[]? bytes) => bytes == null ? Python.None() : Python.Bytes(bytes);

    public static void DateTime(DateTime moment, long* words)
    {
        var kind = moment.Kind switch
        {
            DateTimeKind.Unspecified => 0UL,
            DateTimeKind.Utc => 1UL,
            _ => 2UL,
        };
        words[0] = (long)((ulong)moment.Ticks | kind << 62);
        words[1] = moment.Kind == DateTimeKind.Local ? TimeZoneInfo.Local.GetUtcOffset(moment).Ticks : 0;
    }

    public static void DateTimeOffset(DateTimeOffset moment, long* words)
    {
        words[0] = moment.Ticks;
        words[1] = moment.Offset.Ticks;
    }

    public static void Decimal(decimal value, uint* words) => decimal.GetBits(value, new Span<int>(words, 4));

    public static void Guid(Guid value, byte* bytes) => value.TryWriteBytes(new Span<byte>(bytes, 16));

    public static void PointF(System.Drawing.PointF point, ShlPointFObject* record)
    {
        *record = new ShlPointFObject { X = point.X, Y = point.Y };
    }

    public static void Color(System.Drawing.Color color, ShlColorObject* record)
    {
        *record = default;
        if (!color.IsEmpty)
        {
            record->Argb = (uint)color.ToArgb();
            record->KnownColor = (short)(color.IsKnownColor ? color.ToKnownColor() : 0);
            record->State = (short)(color.IsKnownColor ? 1 : 2);
        }
    }

    /// <summary>The number that Python knows a run-time type by, the same for the life of the process.</summary>
    public static long TypeId(object item) => item.GetType().TypeHandle.Value;

    public static void Instance(object? item, PyObjectOutArg* result)
    {
        result->TypeId = item != null ? TypeId(item) : 0;
        result->Handle = Handles.Make(item);
    }

    /// <summary>A stream or a collection: the Python object itself where one stands behind it.</summary>
    public static void Collection(object? item, PyCollectionArg* result)
    {
        *result = default;
        if (item is IPythonProxy proxy)
        {
            result->Kind = ResultKind.PyObject;
            result->Value = proxy.PythonObject; // the receiver adds a reference of its own
            return;
        }
        if (item != null)
        {
            result->Kind = item is ValueType ? ResultKind.Struct : ResultKind.Object;
            result->TypeId = TypeId(item);
            result->Value = Handles.Make(RuntimeHelpers.GetObjectValue(item));
        }
    }

    /// <summary>A new reference to a Python object for any value.</summary>
    public static nint Anything(object? value, BridgeModule module)
    {
        switch (value)
        {
            case null:
                return Python.None();
            case IPythonProxy proxy:
                return Python.NewReference(proxy.PythonObject);
            case string text:
                return Python.Text(text);
            case byte[] bytes when value.GetType() == typeof(byte[]): // an sbyte[] passes for one
                return Python.Bytes(bytes);
            case bool flag:
                return Python.Made(Python.Write->Bool(flag ? 1 : 0));
            case char unit:
                return Python.Made(Python.Write->Char(unit));
            case sbyte or byte or short or ushort or int:
                return Python.Made(Python.Write->Int32(Convert.ToInt32(value)));
            case uint number:
                return Python.Made(Python.Write->UInt32(number));
            case long number:
                return Python.Made(Python.Write->Int64(number));
            case ulong number:
                return Python.Made(Python.Write->UInt64(number));
            case float number:
                return Python.Made(Python.Write->Double(number));
            case double number:
                return Python.Made(Python.Write->Double(number));
            case decimal number:
                var parts = stackalloc uint[4];
                Decimal(number, parts);
                return Python.Made(Python.Write->Decimal(parts));
            case DateTime moment:
                var words = stackalloc long[2];
                DateTime(moment, words);
                return Python.Made(Python.Write->DateTime(words));
            case DateTimeOffset moment:
                var pair = stackalloc long[2];
                DateTimeOffset(moment, pair);
                return Python.Made(Python.Write->DateTimeOffset(pair));
            case TimeSpan span:
                return Python.Made(Python.Write->TimeSpan(span.Ticks));
            case Guid identifier:
                var bytes16 = stackalloc byte[16];
                Guid(identifier, bytes16);
                return Python.Made(Python.Write->Guid(bytes16));
            default:
                return Wrapper(RuntimeHelpers.GetObjectValue(value), module);
        }
    }

    /// <summary>A wrapper by the run-time type: of the module that is asked, else of one that knows the type.</summary>
    private static nint Wrapper(object item, BridgeModule module)
    {
        item = SharedValues.TryShow(item) ?? item;
        var made = Wrapped(item, module);
        for (var i = 0; made == 0 && i < BridgeModule.Ready.Count; i++)
        {
            if (BridgeModule.Ready[i] != module)
            {
                made = Wrapped(item, BridgeModule.Ready[i]);
            }
        }
        if (made != 0)
        {
            return made;
        }
        return item switch
        {
            Enum number => Anything(Convert.ChangeType(number, number.GetTypeCode()), module),
            Array => Python.Made(module.Tables->Lists->WriteArray(Handles.Make(item))),
            ArrayList => Python.Made(module.Tables->Lists->WriteArrayList(Handles.Make(item))),
            IList => Python.Made(module.Tables->Lists->WriteList(Handles.Make(item))),
            _ => throw new NotSupportedException($"Python has no class for a {item.GetType().FullName}."),
        };
    }

    private static nint Wrapped(object item, BridgeModule module)
    {
        nint wrapper = 0;
        var status = module.Tables->Types->TryWrite(Handles.Make(item), TypeId(item), &wrapper);
        return status < 0 ? throw new PythonErrorPendingException() : status == 1 ? wrapper : 0;
    }
}
