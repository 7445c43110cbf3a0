// The managed part of the tests' control interface: entry points that tests/python/support/control.py finds by name,
// with the signatures that the embedded runtime's control functions have.
//
// A function that returns text takes a buffer and its size, and returns the size of the whole text with its end.
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;
using System.Text.Json;

namespace Zelmor.WrpGen.Control;

public static unsafe class Exports
{
    /// <summary>The signature of an entry point and, behind a line break, the type that its host belongs to.</summary>
    [UnmanagedCallersOnly]
    public static nuint Describe(byte* assembly, byte* type, byte* method, byte* buffer, nuint size)
    {
        var host = Entries.FindHost(Text(assembly), Text(type));
        var signature = host != null ? Entries.Signature(host, Text(method)) : "";
        return Deliver($"{signature}\n{(host != null ? Entries.ManagedName(host) : "")}", buffer, size);
    }

    /// <summary>How many methods were compiled since the process started.</summary>
    [UnmanagedCallersOnly]
    public static long CompiledMethods() => System.Runtime.JitInfo.GetCompiledMethodCount();

    /// <summary>How many handles are out: 0 all, 1 of objects, 2 of structures, 3 of types.</summary>
    [UnmanagedCallersOnly]
    public static long LiveHandles(int kind)
    {
        if (kind == 0)
        {
            return Core.Handles.Live;
        }
        long count = 0;
        foreach (var target in Core.Handles.Targets())
        {
            count += kind == Kind(target) ? 1 : 0;
        }
        return count;
    }

    /// <summary>The number of handles for each type, as a JSON object.</summary>
    [UnmanagedCallersOnly]
    public static nuint LiveDescribe(byte* buffer, nuint size)
    {
        var counts = new SortedDictionary<string, long>(StringComparer.Ordinal);
        foreach (var target in Core.Handles.Targets())
        {
            var name = (target is Type ? typeof(Type) : target.GetType()).FullName!;
            counts[name] = counts.GetValueOrDefault(name) + 1;
        }
        return Deliver(JsonSerializer.Serialize(counts), buffer, size);
    }

    /// <summary>Collects all garbage, waits for the finalizers, and releases the Python objects that they left.
    /// </summary>
    [UnmanagedCallersOnly]
    public static nuint Collect()
    {
        GC.Collect();
        GC.WaitForPendingFinalizers();
        GC.Collect();
        Core.PyRef.ReleaseWaiting();
        return 0;
    }

    /// <summary>The same, but leaves the Python objects in the queue.</summary>
    [UnmanagedCallersOnly]
    public static void CollectWithoutReleasing()
    {
        GC.Collect();
        GC.WaitForPendingFinalizers();
    }

    /// <summary>A handle to a new object of a type; null where there is no such type, or it is abstract.</summary>
    [UnmanagedCallersOnly]
    public static nint NewObject(byte* fullName)
    {
        return Core.Handles.Make(Objects.Make(Text(fullName)));
    }

    /// <summary>A handle to a new list of a shape with empty elements.</summary>
    [UnmanagedCallersOnly]
    public static nint NewList(byte* shape, byte* element, nuint count)
    {
        return Core.Handles.Make(Objects.MakeList(Text(shape), Text(element), (int)count));
    }

    /// <summary>The number that Python knows a type by; 0 where there is no such type.</summary>
    [UnmanagedCallersOnly]
    public static long TypeId(byte* fullName)
    {
        return Objects.FindType(Text(fullName))?.TypeHandle.Value ?? 0;
    }

    private static int Kind(object target) => target is Type ? 3 : target is ValueType ? 2 : 1;

    private static string Text(byte* text) => Marshal.PtrToStringUTF8((nint)text)!;

    internal static nuint Deliver(string text, byte* buffer, nuint size)
    {
        var bytes = Encoding.UTF8.GetBytes(text);
        if (buffer != null && size > 0)
        {
            var fits = Math.Min(bytes.Length, (int)size - 1);
            bytes.AsSpan(0, fits).CopyTo(new Span<byte>(buffer, fits));
            buffer[fits] = 0;
        }
        return (nuint)bytes.Length + 1;
    }
}
