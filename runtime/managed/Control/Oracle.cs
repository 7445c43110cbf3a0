// What .NET itself says of values that crossed the wire, for tests: texts, parts and arithmetic by System's own types.
//
// A value stands in an object with a property "Value" of type object, which Python reads and writes. Either Python has
// stored it and asks for the facts, or it is made here, and Python compares the facts with what it reads.
using System;
using System.Collections.Generic;
using System.Globalization;
using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;
using System.Text;

namespace Zelmor.WrpGen.Control;

public static unsafe class Oracle
{
    private const long TicksPerMinute = TimeSpan.TicksPerMinute;

    private static Random s_draw = new(0);
    private static PropertyInfo? s_value;

    /// <summary>Begins the row of random values anew.</summary>
    [UnmanagedCallersOnly]
    public static void Seed(int seed) => s_draw = new Random(seed);

    /// <summary>The facts about the value of a holder.</summary>
    [UnmanagedCallersOnly]
    public static nuint Tell(nint holder, byte* buffer, nuint size)
    {
        return Exports.Deliver(Facts(Property(holder).GetValue(Core.Handles.Get<object>(holder))), buffer, size);
    }

    /// <summary>Stores the next random value of a kind in a holder: 0 decimal, 1 DateTime, 2 DateTimeOffset, 3 TimeSpan.
    /// The result is the facts about it.</summary>
    [UnmanagedCallersOnly]
    public static nuint Make(nint holder, int kind, byte* buffer, nuint size)
    {
        object made = kind switch
        {
            0 => RandomDecimal(),
            1 => RandomMoment(),
            2 => RandomMomentWithOffset(),
            _ => new TimeSpan(Scaled(s_draw.NextInt64(long.MinValue, long.MaxValue))),
        };
        Property(holder).SetValue(Core.Handles.Get<object>(holder), made);
        return Exports.Deliver(Facts(made), buffer, size);
    }

    /// <summary>Stores the text of neighboring code points in a holder; halves of surrogate pairs are characters of
    /// their own.</summary>
    [UnmanagedCallersOnly]
    public static void MakeText(nint holder, int first, int count)
    {
        var text = new StringBuilder();
        for (var point = first; point < first + count; point++)
        {
            text.Append(point is >= 0xD800 and <= 0xDFFF ? ((char)point).ToString() : char.ConvertFromUtf32(point));
        }
        Property(holder).SetValue(Core.Handles.Get<object>(holder), text.ToString());
    }

    private static PropertyInfo Property(nint holder)
    {
        return s_value ??= Core.Handles.Get<object>(holder).GetType().GetProperty("Value")!;
    }

    private static string Facts(object? value) => string.Join(' ', value switch
    {
        decimal number => Facts(number),
        DateTime moment => Facts(moment),
        DateTimeOffset moment => Facts(moment),
        TimeSpan span => Facts(span),
        string text => Facts(text),
        _ => new[] { value?.GetType().FullName ?? "null" },
    });

    private static IEnumerable<string> Facts(decimal number)
    {
        yield return Text(number);
        yield return number.Scale.ToString(CultureInfo.InvariantCulture);
        yield return Text(decimal.Truncate(number));
        yield return Text(decimal.Floor(number));
        yield return Text(Math.Round(number, Math.Min((int)number.Scale, 3), MidpointRounding.ToEven));
        yield return number.CompareTo(1m).ToString(CultureInfo.InvariantCulture);
    }

    private static IEnumerable<string> Facts(DateTime moment)
    {
        yield return moment.Ticks.ToString(CultureInfo.InvariantCulture);
        yield return moment.Kind.ToString();
        yield return moment.ToString("yyyy-MM-ddTHH:mm:ss.fffffff", CultureInfo.InvariantCulture);
        yield return ((int)moment.DayOfWeek).ToString(CultureInfo.InvariantCulture);
        yield return moment.DayOfYear.ToString(CultureInfo.InvariantCulture);
        yield return moment.Kind == DateTimeKind.Local
            ? Minutes(TimeZoneInfo.Local.GetUtcOffset(moment)) : "-";
    }

    private static IEnumerable<string> Facts(DateTimeOffset moment)
    {
        yield return moment.Ticks.ToString(CultureInfo.InvariantCulture);
        yield return moment.UtcTicks.ToString(CultureInfo.InvariantCulture);
        yield return Minutes(moment.Offset);
        yield return moment.ToString("o", CultureInfo.InvariantCulture);
        yield return moment.ToUnixTimeMilliseconds().ToString(CultureInfo.InvariantCulture);
    }

    private static IEnumerable<string> Facts(TimeSpan span)
    {
        yield return span.Ticks.ToString(CultureInfo.InvariantCulture);
        yield return span.ToString("c", CultureInfo.InvariantCulture);
        yield return span.Days.ToString(CultureInfo.InvariantCulture);
    }

    private static IEnumerable<string> Facts(string text)
    {
        yield return text.Length.ToString(CultureInfo.InvariantCulture);
        yield return Convert.ToHexString(MemoryMarshal.AsBytes(text.AsSpan()));
        yield return text.EnumerateRunes().Count().ToString(CultureInfo.InvariantCulture);
    }

    private static string Text(decimal number) => number.ToString(CultureInfo.InvariantCulture);

    private static string Minutes(TimeSpan offset)
    {
        return (offset.Ticks / TicksPerMinute).ToString(CultureInfo.InvariantCulture);
    }

    /// <summary>The number with a random count of its bits, so that small ones are drawn as often as large ones.
    /// </summary>
    private static long Scaled(long number) => number >> s_draw.Next(64);

    private static decimal RandomDecimal()
    {
        var words = new[] { s_draw.NextInt64(), s_draw.NextInt64() };
        var bits = s_draw.Next(97);
        var mantissa = ((UInt128)(ulong)words[0] << 64 | (ulong)words[1] << 1) & (((UInt128)1 << bits) - 1);
        return new decimal(
            (int)(uint)(ulong)mantissa, (int)(uint)((ulong)mantissa >> 32), (int)(uint)(ulong)(mantissa >> 64),
            s_draw.Next(2) == 0, (byte)s_draw.Next(29));
    }

    /// <summary>A time of any kind. A local one is of the years in which zones have offsets of whole minutes.</summary>
    private static DateTime RandomMoment()
    {
        var kind = (DateTimeKind)s_draw.Next(3);
        return kind == DateTimeKind.Local
            ? new DateTime(s_draw.NextInt64(new DateTime(1980, 1, 1).Ticks, new DateTime(2037, 1, 1).Ticks), kind)
            : new DateTime(s_draw.NextInt64(DateTime.MaxValue.Ticks + 1), kind);
    }

    private static DateTimeOffset RandomMomentWithOffset()
    {
        var offset = new TimeSpan(s_draw.Next(-14 * 60, 14 * 60 + 1) * TicksPerMinute);
        var ticks = s_draw.NextInt64(TimeSpan.TicksPerDay, DateTime.MaxValue.Ticks - TimeSpan.TicksPerDay);
        return new DateTimeOffset(ticks, offset);
    }
}
