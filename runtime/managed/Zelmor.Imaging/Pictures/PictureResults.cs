// Results of the picture library as .NET values.
using System;
using System.Collections;
using System.Collections.Generic;
using System.Collections.Concurrent;
using System.IO;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;

namespace Zelmor.Imaging;

internal static unsafe class PictureResults
{
    private static readonly ConcurrentDictionary<string, Type?> s_types = new();

    public static T To<T>(in PictureValue value)
    {
        if (typeof(T) == typeof(int))
        {
            var number = (int)value.Word;
            return Unsafe.As<int, T>(ref number);
        }
        if (typeof(T) == typeof(bool))
        {
            var flag = value.Word != 0;
            return Unsafe.As<bool, T>(ref flag);
        }
        return (T)ToObject(value, typeof(T))!;
    }

    /// <summary>A number of a primitive type.</summary>
    public static object Number(in PictureValue value, Type type)
    {
        var word = value.Word;
        return Type.GetTypeCode(type) switch
        {
            TypeCode.Boolean => word != 0,
            TypeCode.SByte => unchecked((sbyte)word),
            TypeCode.Byte => unchecked((byte)word),
            TypeCode.Int16 => unchecked((short)word),
            TypeCode.UInt16 => unchecked((ushort)word),
            TypeCode.Int32 => unchecked((int)word),
            TypeCode.UInt32 => unchecked((uint)word),
            TypeCode.Int64 => word,
            TypeCode.UInt64 => unchecked((ulong)word),
            TypeCode.Single => (float)value.Real,
            TypeCode.Double => value.Real,
            TypeCode.Char => unchecked((char)word),
            _ => throw new InvalidCastException($"A number was given for a {type.FullName}."),
        };
    }

    public static object? ToObject(in PictureValue value, Type type)
    {
        type = Nullable.GetUnderlyingType(type) ?? type;
        switch (value.Kind)
        {
            case PictureKind.Null:
                return type.IsPrimitive || type.IsEnum ? Activator.CreateInstance(type) : null;
            case PictureKind.Bool:
                return value.Word != 0;
            case PictureKind.Integer or PictureKind.Unsigned or PictureKind.Real:
                return type.IsEnum ? Enum.ToObject(type, value.Word)
                    : type.IsPrimitive ? Number(value, type) : Anything(value);
            case PictureKind.Enum:
                return Enum.ToObject(type.IsEnum ? type : Required(value), value.Word);
            case PictureKind.Text:
                return type == typeof(char) ? value.Chars[0] : new string(value.Chars);
            case PictureKind.Bytes:
                return PictureHost.TakeBytes(value.Word);
            case PictureKind.Stream:
                return PictureHost.Numbered<Stream>(value.Word);
            case PictureKind.Decimal:
                return new decimal(new ReadOnlySpan<int>(value.Data, 4));
            case PictureKind.DateTime:
                return Moment(value);
            case PictureKind.DateTimeOffset:
                return new DateTimeOffset(value.Word, new TimeSpan(value.Length));
            case PictureKind.TimeSpan:
                return new TimeSpan(value.Word);
            case PictureKind.Guid:
                return new Guid(new ReadOnlySpan<byte>(value.Data, 16));
            case PictureKind.Struct:
                return Struct(value);
            case PictureKind.Object:
                return value.Detail == (int)PictureObjectKind.List ? PictureLists.Shown(value, type) : Object(value);
            default:
                throw new InvalidCastException($"A result of the kind {value.Kind} cannot be shown.");
        }
    }

    /// <summary>The class that the library names; null where this library has none.</summary>
    private static Type? Named(in PictureValue value)
    {
        var name = Marshal.PtrToStringUTF8((nint)value.Data)!;
        return s_types.GetOrAdd(name, Found);
    }

    private static Type? Found(string name)
    {
        return typeof(PictureResults).Assembly.GetType(name) ?? Type.GetType(name) ??
            typeof(System.Drawing.RotateFlipType).Assembly.GetType(name);
    }

    private static Type Required(in PictureValue value)
    {
        return Named(value) ?? throw new NotSupportedException(
            $"{Marshal.PtrToStringUTF8((nint)value.Data)} is not supported by this class library.");
    }

    private static object Object(in PictureValue value)
    {
        if (PictureHandle.Known(value) is { } known)
        {
            return known;
        }
        var type = Named(value);
        if (type is { IsInterface: true })
        {
            // An object of a class that no program knows: it has the members of the interface.
            type = s_types.GetOrAdd($"{type.FullName}Object", Found);
        }
        if (type != null && typeof(IPictureObject).IsAssignableFrom(type))
        {
            return PictureHandle.Shown(value, type);
        }
        if (value.Detail == (int)PictureObjectKind.Stream)
        {
            return new PictureStream(value);
        }
        if (type == null)
        {
            PictureLibrary.Release((nint)value.Word);
        }
        return PictureMirrors.Back(value, Required(value));
    }

    private static object Anything(in PictureValue value)
    {
        // A number without a type is a whole one of 32 bits where it fits.
        switch (value.Kind)
        {
            case PictureKind.Real:
                return value.Real;
            case PictureKind.Unsigned:
                return unchecked((ulong)value.Word);
            default:
                return value.Word is >= int.MinValue and <= int.MaxValue ? (object)(int)value.Word : value.Word;
        }
    }

    // A time that went there from here comes back as it is, even in an hour that summer time leaves out; one of a file
    // may be local somewhere else.
    private static DateTime Local(long ticks, TimeSpan offset)
    {
        var local = new DateTime(ticks, DateTimeKind.Local);
        return TimeZoneInfo.Local.GetUtcOffset(local) == offset ? local : new DateTimeOffset(ticks, offset).LocalDateTime;
    }

    private static DateTime Moment(in PictureValue value)
    {
        var ticks = value.Word & 0x3FFFFFFFFFFFFFFF;
        return ((ulong)value.Word >> 62) switch
        {
            0 => new DateTime(ticks, DateTimeKind.Unspecified),
            1 => new DateTime(ticks, DateTimeKind.Utc),
            _ => Local(ticks, new TimeSpan(value.Length)),
        };
    }

    private static object Struct(in PictureValue value)
    {
        var whole = new ReadOnlySpan<int>(value.Data, 4);
        var real = new ReadOnlySpan<float>(value.Data, 4);
        return (PictureStruct)value.Detail switch
        {
            PictureStruct.Size => new Size(whole[0], whole[1]),
            PictureStruct.SizeF => new SizeF(real[0], real[1]),
            PictureStruct.Point => new Point(whole[0], whole[1]),
            PictureStruct.PointF => new PointF(real[0], real[1]),
            PictureStruct.Rectangle => new Rectangle(whole[0], whole[1], whole[2], whole[3]),
            PictureStruct.RectangleF => new RectangleF(real[0], real[1], real[2], real[3]),
            PictureStruct.Cmyk => CmykColor.Of(new ReadOnlySpan<byte>(value.Data, 4)),
            PictureStruct.Color => Color.FromDrawing(ColorOf(*(PictureColor*)value.Data)),
            _ => throw new InvalidCastException("A structure of unknown kind cannot be shown."),
        };
    }

    private static System.Drawing.Color ColorOf(in PictureColor color) => color.State switch
    {
        0 => default,
        1 => System.Drawing.Color.FromKnownColor((System.Drawing.KnownColor)color.Known),
        8 => System.Drawing.Color.FromName(new string(color.Name, 0, (int)color.Length)),
        _ => System.Drawing.Color.FromArgb((int)color.Argb),
    };

    /// <summary>A copy of a list, as an array or a list of the type that is asked for; whether an object of the library
    /// keeps it. The handle stays the caller's.</summary>
    public static object List(in PictureValue value, Type type, out bool isShared)
    {
        var list = (nint)value.Word;
        var element = ElementOf(type) ?? ElementOf(value) ?? typeof(object);
        PictureValue found;
        Check(PictureLibrary.Elements(list, &found));
        isShared = found.Word != 0;
        var array = Array.CreateInstance(element, found.Length);
        // Numbers are copied as one block where the array has them in the same width.
        var width = found.Detail >> 8;
        var isBlock = found.Kind == PictureKind.Numbers && element.IsValueType && Size(element) == width;
        if (isBlock)
        {
            var size = (nuint)(found.Length * width);
            NativeMemory.Copy(found.Data, Unsafe.AsPointer(ref MemoryMarshal.GetArrayDataReference(array)), size);
        }
        for (var i = 0; !isBlock && i < array.Length; i++)
        {
            PictureValue item;
            Check(PictureLibrary.Item(list, i, &item));
            array.SetValue(ToObject(item, element), i);
        }
        return (found.Detail & 0xFF) switch
        {
            1 => new ArrayList(array),
            2 => Activator.CreateInstance(typeof(List<>).MakeGenericType(element), array)!,
            _ => array,
        };
    }

    /// <summary>The bytes of a number; 0 of what is none.</summary>
    private static int Size(Type element)
    {
        var number = element.IsEnum ? Enum.GetUnderlyingType(element) : element;
        return number == typeof(bool) ? 1 : number == typeof(char) ? 2 : number.IsPrimitive ? Marshal.SizeOf(number) : 0;
    }

    private static Type? ElementOf(Type type)
    {
        return type.IsArray ? type.GetElementType() : type.IsGenericType ? type.GetGenericArguments()[0] : null;
    }

    /// <summary>The element of a list by the name of its class, "System.Int32[]".</summary>
    private static Type? ElementOf(in PictureValue value)
    {
        var name = Marshal.PtrToStringUTF8((nint)value.Data) ?? "";
        if (!name.EndsWith("[]", StringComparison.Ordinal))
        {
            return null;
        }
        return s_types.GetOrAdd(name[..^2], Found);
    }

    private static void Check(int status)
    {
        if (status != 0)
        {
            PictureErrors.Throw();
        }
    }
}
