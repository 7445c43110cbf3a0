// Values that .NET has in one type and a class library in another, such as a point of the drawing module: in a place
// where any value can stand they cross as those of the class library.
using System;
using System.Collections.Generic;

namespace Zelmor.WrpGen.Core;

public static class SharedValues
{
    private static readonly Dictionary<(Type From, Type To), Func<object, object>> s_conversions = new();
    private static readonly Dictionary<Type, Type> s_shown = new();
    private static readonly Dictionary<Type, (Type From, Func<object, object> Widen)> s_widened = new();

    /// <summary>Adds a pair of types; an interop assembly does that when it is loaded.</summary>
    public static void Register<TShared, TShown>(Func<TShared, TShown> show, Func<TShown, TShared> share)
        where TShared : struct where TShown : struct
    {
        s_conversions[(typeof(TShared), typeof(TShown))] = value => show((TShared)value);
        s_conversions[(typeof(TShown), typeof(TShared))] = value => share((TShown)value);
        s_shown[typeof(TShared)] = typeof(TShown);
    }

    /// <summary>Adds a type whose values become those of another one without a loss, as points with whole coordinates do.
    /// </summary>
    public static void RegisterWidening<TFrom, TTo>(Func<TFrom, TTo> widen) where TFrom : struct where TTo : struct
    {
        s_widened[typeof(TTo)] = (typeof(TFrom), value => widen((TFrom)value));
    }

    public static bool IsWidened(Type to) => s_widened.ContainsKey(to);

    /// <summary>The value in a type that it becomes without a loss; null where it becomes none.</summary>
    public static object? TryWiden(object value, Type to)
    {
        return s_widened.TryGetValue(to, out var known) && known.From == value.GetType() ? known.Widen(value) : null;
    }

    /// <summary>The value in the other type of its pair; null where there is no such pair.</summary>
    public static object? TryConvert(object value, Type to)
    {
        return s_conversions.GetValueOrDefault((value.GetType(), to))?.Invoke(value);
    }

    /// <summary>The value as a class library shows it; null for one that is no such value.</summary>
    public static object? TryShow(object value)
    {
        return s_shown.TryGetValue(value.GetType(), out var shown) ? TryConvert(value, shown) : null;
    }
}
