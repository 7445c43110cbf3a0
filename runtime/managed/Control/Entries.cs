// What the metadata of the interop assemblies says of an entry point: how its arguments cross.
//
// A signature has one character for the result and one for each argument, as runtime/native/catalogue/tables.h lists
// them. It is read from the method itself, so that the journal shows a call with the widths that .NET has.
using System;
using System.Collections.Generic;
using System.Reflection;
using System.Text;
using Zelmor.WrpGen.Core;

namespace Zelmor.WrpGen.Control;

internal static class Entries
{
    private const BindingFlags Declared = BindingFlags.Public | BindingFlags.Static | BindingFlags.DeclaredOnly;

    private static readonly Dictionary<Type, char> s_values = new()
    {
        [typeof(void)] = 'v',
        [typeof(bool)] = 'b',
        [typeof(sbyte)] = 'c',
        [typeof(byte)] = 'C',
        [typeof(short)] = 's',
        [typeof(ushort)] = 'S',
        [typeof(int)] = 'i',
        [typeof(uint)] = 'I',
        [typeof(long)] = 'l',
        [typeof(ulong)] = 'L',
        [typeof(float)] = 'f',
        [typeof(double)] = 'd',
    };

    private static readonly Dictionary<Type, char> s_records = new()
    {
        [typeof(VariantArg)] = 'V',
        [typeof(PyStringArg)] = 'T',
        [typeof(PyBytesArg)] = 'B',
        [typeof(PyObjectOutArg)] = 'o',
        [typeof(PyCollectionArg)] = 'k',
        [typeof(nint)] = 'r',
    };

    // Values that cross as words behind a pointer; the same types behind a pointer are out slots elsewhere.
    private static readonly Dictionary<Type, char> s_words = new()
    {
        [typeof(long)] = 't',
        [typeof(uint)] = 'D',
        [typeof(byte)] = 'G',
    };

    /// <summary>The static class with the entry points of a type; null where there is none.</summary>
    public static Type? FindHost(string assembly, string type)
    {
        try
        {
            return Assembly.Load(assembly).GetType(type, throwOnError: false);
        }
        catch (System.IO.FileNotFoundException)
        {
            return null;
        }
    }

    /// <summary>The name of the type that a host belongs to; "" for a service class.</summary>
    public static string ManagedName(Type host)
    {
        return IsService(host) ? "" : host.GetCustomAttribute<HostOfAttribute>()?.Type.FullName ?? "";
    }

    /// <summary>The signature of an entry point; "" where there is none.</summary>
    public static string Signature(Type host, string method)
    {
        var found = host.GetMethod(method, Declared);
        if (found == null)
        {
            return "";
        }
        var wordsAllowed = !IsService(host) && !method.StartsWith("btp_", StringComparison.Ordinal);
        var signature = new StringBuilder().Append(Code(found.ReturnType, false));
        foreach (var parameter in found.GetParameters())
        {
            var isSlot = parameter.Name!.EndsWith("Out", StringComparison.Ordinal);
            signature.Append(Code(parameter.ParameterType, wordsAllowed && !isSlot));
        }
        return signature.ToString();
    }

    private static bool IsService(Type host) => host.Namespace!.StartsWith("Zelmor.WrpGen.", StringComparison.Ordinal);

    private static char Code(Type type, bool wordsAllowed)
    {
        if (!type.IsPointer)
        {
            return s_values.GetValueOrDefault(type.IsEnum ? type.GetEnumUnderlyingType() : type, 'p');
        }
        var target = type.GetElementType()!;
        if (target.IsPointer || target == typeof(void))
        {
            return 'p';
        }
        if (wordsAllowed && s_words.TryGetValue(target, out var words))
        {
            return words;
        }
        return s_records.GetValueOrDefault(target, 'r');
    }
}
