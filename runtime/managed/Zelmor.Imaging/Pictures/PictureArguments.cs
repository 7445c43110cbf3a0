// Arguments of the picture library: .NET values as values of its interface, for the length of a call.
using System;
using System.Collections;
using System.Collections.Generic;
using System.IO;
using System.Runtime.InteropServices;

namespace Zelmor.Imaging;

internal sealed unsafe class PictureArguments : IDisposable
{
    private static readonly Dictionary<Type, nint> s_names = new();

    private readonly List<GCHandle> _pinned = new();
    private readonly List<nint> _memory = new();
    private readonly List<object> _lent = new();

    /// <summary>The name of a type for the library; it is never freed.</summary>
    public static byte* NameOf(Type type)
    {
        lock (s_names)
        {
            if (!s_names.TryGetValue(type, out var name))
            {
                s_names[type] = name = Marshal.StringToCoTaskMemUTF8(type.FullName);
            }
            return (byte*)name;
        }
    }

    public void Dispose()
    {
        foreach (var handle in _pinned)
        {
            handle.Free();
        }
        foreach (var memory in _memory)
        {
            NativeMemory.Free((void*)memory);
        }
        GC.KeepAlive(_lent);
    }

    public void Set(object? argument, out PictureValue value)
    {
        value = default;
        switch (argument)
        {
            case null:
                return;
            case bool flag:
                SetWord(ref value, PictureKind.Bool, flag ? 1 : 0);
                return;
            case Enum item:
                SetWord(ref value, PictureKind.Enum, unchecked((long)Bits(item)));
                value.Data = NameOf(item.GetType());
                return;
            case ulong number:
                SetWord(ref value, number > long.MaxValue ? PictureKind.Unsigned : PictureKind.Integer, (long)number);
                return;
            case char unit:
                SetWord(ref value, PictureKind.Integer, unit);
                return;
            case sbyte or byte or short or ushort or int or uint or long:
                SetWord(ref value, PictureKind.Integer, Convert.ToInt64(argument));
                return;
            case float or double:
                SetWord(ref value, PictureKind.Real, BitConverter.DoubleToInt64Bits(Convert.ToDouble(argument)));
                return;
            case string text:
                SetData(ref value, PictureKind.Text, text, text.Length);
                return;
            case byte[] bytes when argument.GetType() == typeof(byte[]): // an sbyte[] passes for one
                SetData(ref value, PictureKind.Bytes, bytes, bytes.Length);
                return;
            case PictureMemory memory:
                value.Kind = PictureKind.Bytes;
                value.Data = memory.Data;
                value.Length = memory.Length;
                return;
            case IPictureObject item:
                _lent.Add(item);
                SetWord(ref value, PictureKind.Object, Pictures.HandleOf(item));
                return;
            case PictureStream { Inner: { } stream }:
                _lent.Add(stream);
                SetWord(ref value, PictureKind.Object, Pictures.HandleOf(stream));
                return;
            case Stream stream:
                SetWord(ref value, PictureKind.Stream, PictureHost.Number(stream));
                return;
            case decimal number:
                SetRecord(ref value, PictureKind.Decimal, 0, stackalloc int[4], bits => decimal.GetBits(number, bits));
                return;
            case DateTime moment:
                SetWord(ref value, PictureKind.DateTime, (long)((ulong)moment.Ticks | Kind(moment) << 62));
                value.Length = moment.Kind == DateTimeKind.Local ? TimeZoneInfo.Local.GetUtcOffset(moment).Ticks : 0;
                return;
            case DateTimeOffset moment:
                SetWord(ref value, PictureKind.DateTimeOffset, moment.Ticks);
                value.Length = moment.Offset.Ticks;
                return;
            case TimeSpan span:
                SetWord(ref value, PictureKind.TimeSpan, span.Ticks);
                return;
            case Guid identifier:
                SetRecord(ref value, PictureKind.Guid, 0, stackalloc byte[16], bytes => identifier.TryWriteBytes(bytes));
                return;
            case NonGenericList:
                SetMirror(ref value, argument);
                return;
            case ICollection when PictureLists.Of(argument) is { } list:
                _lent.Add(list);
                SetWord(ref value, PictureKind.Object, Pictures.HandleOf(list));
                return;
            case ICollection items:
                SetList(ref value, items);
                return;
            case IEnumerable items:
                var all = new ArrayList();
                foreach (var item in items)
                {
                    all.Add(item);
                }
                SetList(ref value, all);
                return;
            default:
                if (!SetStruct(ref value, argument))
                {
                    SetMirror(ref value, argument);
                }
                return;
        }
    }

    /// <summary>The elements of a list, even of one that stands for a list of the library.</summary>
    public void SetElements(IList items, out PictureValue value)
    {
        value = default;
        SetList(ref value, items);
    }

    private void SetMirror(ref PictureValue value, object item)
    {
        var mirror = PictureMirrors.Of(item);
        _lent.Add(mirror);
        SetWord(ref value, PictureKind.Object, mirror.Value);
    }

    private delegate void Fill<T>(Span<T> fields);

    private static ulong Kind(DateTime moment) => moment.Kind switch
    {
        DateTimeKind.Unspecified => 0UL,
        DateTimeKind.Utc => 1UL,
        _ => 2UL,
    };

    private static ulong Bits(Enum item) => item.GetTypeCode() switch
    {
        TypeCode.Byte or TypeCode.UInt16 or TypeCode.UInt32 or TypeCode.UInt64 => Convert.ToUInt64(item),
        _ => unchecked((ulong)Convert.ToInt64(item)),
    };

    private static void SetWord(ref PictureValue value, PictureKind kind, long word)
    {
        value.Kind = kind;
        value.Word = word;
    }

    private void SetData(ref PictureValue value, PictureKind kind, object item, long length)
    {
        var handle = GCHandle.Alloc(item, GCHandleType.Pinned);
        _pinned.Add(handle);
        value.Kind = kind;
        value.Data = (void*)handle.AddrOfPinnedObject();
        value.Length = length;
    }

    private void* Memory(int size)
    {
        var memory = NativeMemory.AllocZeroed((nuint)Math.Max(1, size));
        _memory.Add((nint)memory);
        return memory;
    }

    private void SetRecord<T>(ref PictureValue value, PictureKind kind, PictureStruct which, Span<T> fields, Fill<T> fill)
        where T : unmanaged
    {
        fill(fields);
        value.Kind = kind;
        value.Detail = (int)which;
        value.Data = Memory(fields.Length * sizeof(T));
        fields.CopyTo(new Span<T>(value.Data, fields.Length));
    }

    private void SetFields<T>(ref PictureValue value, PictureStruct which, ReadOnlySpan<T> fields) where T : unmanaged
    {
        value.Kind = PictureKind.Struct;
        value.Detail = (int)which;
        value.Data = Memory(fields.Length * sizeof(T));
        fields.CopyTo(new Span<T>(value.Data, fields.Length));
    }

    private bool SetStruct(ref PictureValue value, object item)
    {
        switch (item)
        {
            case Size size:
                SetFields<int>(ref value, PictureStruct.Size, [size.Width, size.Height]);
                return true;
            case SizeF size:
                SetFields<float>(ref value, PictureStruct.SizeF, [size.Width, size.Height]);
                return true;
            case Point point:
                SetFields<int>(ref value, PictureStruct.Point, [point.X, point.Y]);
                return true;
            case PointF point:
                SetFields<float>(ref value, PictureStruct.PointF, [point.X, point.Y]);
                return true;
            case Rectangle area:
                SetFields<int>(ref value, PictureStruct.Rectangle, [area.X, area.Y, area.Width, area.Height]);
                return true;
            case RectangleF area:
                SetFields<float>(ref value, PictureStruct.RectangleF, [area.X, area.Y, area.Width, area.Height]);
                return true;
            case CmykColor color:
                SetFields<byte>(ref value, PictureStruct.Cmyk,
                                [(byte)color.C, (byte)color.M, (byte)color.Y, (byte)color.K]);
                return true;
            case Color color:
                SetColor(ref value, color.ToDrawing());
                return true;
            default:
                return false;
        }
    }

    private void SetColor(ref PictureValue value, System.Drawing.Color color)
    {
        var fields = new PictureColor();
        if (!color.IsEmpty)
        {
            var isNamed = color.IsNamedColor && !color.IsKnownColor;
            fields.Argb = isNamed ? 0 : (uint)color.ToArgb();
            fields.Known = (short)(color.IsKnownColor ? color.ToKnownColor() : 0);
            fields.State = (short)(color.IsKnownColor ? 1 : isNamed ? 8 : 2);
            if (isNamed)
            {
                var handle = GCHandle.Alloc(color.Name, GCHandleType.Pinned);
                _pinned.Add(handle);
                fields.Name = (char*)handle.AddrOfPinnedObject();
                fields.Length = color.Name.Length;
            }
        }
        SetFields(ref value, PictureStruct.Color, new ReadOnlySpan<PictureColor>(in fields));
    }

    /// <summary>0 for signed numbers, 1 for unsigned ones, 2 for floating ones.</summary>
    private static int Family(Type element) => Type.GetTypeCode(element) switch
    {
        TypeCode.Single or TypeCode.Double => 2,
        TypeCode.Byte or TypeCode.UInt16 or TypeCode.UInt32 or TypeCode.UInt64 => 1,
        _ => 0,
    };

    private void SetList(ref PictureValue value, ICollection items)
    {
        var shape = items is Array ? 0 : items is ArrayList ? 1 : items.GetType().Name == "List`1" ? 2 : 0;
        var element = items is Array ? items.GetType().GetElementType()! : typeof(object);
        if (element.IsPrimitive && element != typeof(bool) && element != typeof(char))
        {
            SetData(ref value, PictureKind.Numbers, items, items.Count);
            value.Detail = shape | Marshal.SizeOf(element) << 8 | Family(element) << 16;
            return;
        }
        var count = items.Count;
        var values = (PictureValue*)Memory(count * sizeof(PictureValue));
        var i = 0;
        foreach (var item in items)
        {
            if (i == count)
            {
                throw new InvalidOperationException("The collection was changed while it was read.");
            }
            Set(item, out values[i++]);
        }
        value.Kind = PictureKind.Items;
        value.Detail = shape;
        value.Data = values;
        value.Length = i;
    }
}
