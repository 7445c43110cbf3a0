// The services that each type offers beside its members: its type object, casts and tests.
using System;
using System.Collections.Concurrent;
using System.Reflection;
using System.Runtime.CompilerServices;

namespace Zelmor.WrpGen.Core;

public static unsafe class Casts
{
    public const int Impossible = 0;
    public const int Made = 1;

    private static readonly ConcurrentDictionary<(Type From, Type To), MethodInfo?> s_conversions = new();

    public static int TypeOf(Type type, nint* result)
    {
        *result = Handles.Make(type);
        return Made;
    }

    /// <summary>The object that a cast starts from; null for a Python object, too.</summary>
    private static object? Source(VariantArg* argument)
    {
        return argument->Tag > HandleTag.Struct ? null : Handles.Find(argument->Value);
    }

    public static int To<T>(VariantArg* argument, nint* result)
    {
        var source = Source(argument);
        switch (source)
        {
            case null when typeof(T).IsValueType:
                return Impossible;
            case null:
                *result = 0;
                return Made;
            case T:
                return Deliver(source, result);
            default:
                return Converted(source, typeof(T), result);
        }
    }

    public static int As<T>(VariantArg* argument, nint* result) => As<T>(Source(argument), result);

    public static int As<T>(nint handle, nint* result) => As<T>(Handles.Find(handle), result);

    private static int As<T>(object? source, nint* result) => source is T ? Deliver(source, result) : Impossible;

    public static int Is<T>(VariantArg* argument) => Source(argument) is T ? 1 : 0;

    public static int Is<T>(nint handle) => Handles.Find(handle) is T ? 1 : 0;

    public static int Reinterpret<T>(nint handle, nint* result)
    {
        var source = Handles.Find(handle);
        return source is T ? Deliver(source, result) : throw Handles.WrongTarget(source, typeof(T));
    }

    /// <summary>The conversion of an object to a type that the caller names at run time.</summary>
    public static int From(object source, nint type, nint* result)
    {
        var wanted = Handles.Get<Type>(type);
        return wanted.IsInstanceOfType(source) ? Deliver(source, result) : Converted(source, wanted, result);
    }

    public static int ToEnum<T>(VariantArg* argument, T* result) where T : unmanaged, Enum
    {
        return EnumValue(Source(argument), result);
    }

    public static int AsEnum<T>(nint handle, T* result) where T : unmanaged, Enum
    {
        return EnumValue(Handles.Find(handle), result);
    }

    public static int ReinterpretEnum<T>(nint handle, T* result) where T : unmanaged, Enum
    {
        var source = Handles.Find(handle);
        return source is T ? EnumValue(source, result) : throw Handles.WrongTarget(source, typeof(T));
    }

    public static int Box(object value, nint* result)
    {
        *result = Handles.Make(value);
        return Made;
    }

    private static int EnumValue<T>(object? source, T* result) where T : unmanaged, Enum
    {
        if (source is not T value)
        {
            return Impossible;
        }
        *result = value;
        return Made;
    }

    private static int Deliver(object source, nint* result)
    {
        *result = Handles.Make(RuntimeHelpers.GetObjectValue(source));
        return Made;
    }

    private static int Converted(object source, Type wanted, nint* result)
    {
        var conversion = s_conversions.GetOrAdd((source.GetType(), wanted), static pair => Find(pair.From, pair.To));
        return conversion == null ? Impossible : Deliver(conversion.Invoke(null, new[] { source })!, result);
    }

    /// <summary>The conversion operator that one of the types declares.</summary>
    private static MethodInfo? Find(Type from, Type to)
    {
        foreach (var type in new[] { from, to })
        {
            foreach (var method in type.GetMethods(
                BindingFlags.Public | BindingFlags.Static | BindingFlags.FlattenHierarchy))
            {
                if (method.Name is "op_Implicit" or "op_Explicit" && method.ReturnType == to &&
                    method.GetParameters()[0].ParameterType.IsAssignableFrom(from))
                {
                    return method;
                }
            }
        }
        return null;
    }
}
