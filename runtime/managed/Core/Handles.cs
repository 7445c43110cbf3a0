// The table of handles: what Python holds of .NET objects.
//
// A handle packs the number of a slot and the generation of the slot. Giving a handle back raises the generation, so
// that a handle that is used after that is refused and never leads to another object. A handle keeps its object alive
// and does nothing else. The table is used by threads that hold Python's lock only.
using System;
using System.Collections.Generic;
using System.Runtime.CompilerServices;

namespace Zelmor.WrpGen.Core;

public static class Handles
{
    private struct Slot
    {
        public object? Target;
        public uint Generation;
        public uint NextFree;
    }

    private static Slot[] s_slots = new Slot[1024];
    private static uint s_used = 1; // slot 0 stays empty: the null handle
    private static uint s_firstFree;
    private static long s_live;

    /// <summary>How many handles are out.</summary>
    public static long Live => s_live;

    /// <summary>A new handle; the null handle for null.</summary>
    public static nint Make(object? target)
    {
        if (target == null)
        {
            return 0;
        }
        var index = s_firstFree;
        if (index != 0)
        {
            s_firstFree = s_slots[index].NextFree;
        }
        else
        {
            if (s_used == s_slots.Length)
            {
                Array.Resize(ref s_slots, s_slots.Length * 2);
            }
            index = s_used++;
        }
        ref var slot = ref s_slots[index];
        slot.Target = target;
        s_live++;
        return (nint)((long)slot.Generation << 32 | index);
    }

    /// <summary>A handle to a boxed copy of a value.</summary>
    public static nint MakeStruct<T>(T value) where T : struct => Make(value);

    /// <summary>The object behind a handle; null for the null handle.</summary>
    public static object? Find(nint handle) => handle == 0 ? null : Occupied(handle).Target;

    /// <summary>The object behind a handle, which is an instance that a member is called on.</summary>
    public static T Get<T>(nint handle) where T : class
    {
        var target = Find(handle);
        return target as T ?? throw WrongTarget(target, typeof(T));
    }

    /// <summary>The object behind a handle that is an argument; null for the null handle.</summary>
    public static T? Argument<T>(nint handle) where T : class
    {
        var target = Find(handle);
        return target == null ? null : target as T ?? throw WrongTarget(target, typeof(T));
    }

    /// <summary>The value in the box behind a handle.</summary>
    public static ref T Unbox<T>(nint handle) where T : struct
    {
        var target = Find(handle);
        if (target is not T)
        {
            throw WrongTarget(target, typeof(T));
        }
        return ref Unsafe.Unbox<T>(target);
    }

    /// <summary>Gives a handle back.</summary>
    public static void Free(nint handle)
    {
        if (handle != 0)
        {
            ref var slot = ref Occupied(handle);
            slot.Target = null;
            slot.Generation = (slot.Generation + 1) & 0x7FFFFFFF;
            slot.NextFree = s_firstFree;
            s_firstFree = (uint)handle;
            s_live--;
        }
        PyRef.ReleaseWaiting();
    }

    /// <summary>The objects behind all handles that are out.</summary>
    internal static IEnumerable<object> Targets()
    {
        for (uint i = 1; i < s_used; i++)
        {
            if (s_slots[i].Target is { } target)
            {
                yield return target;
            }
        }
    }

    internal static Exception WrongTarget(object? target, Type wanted)
    {
        if (target == null)
        {
            return new NullReferenceException($"The handle of an object of type '{wanted.FullName}' is null.");
        }
        return new InvalidCastException(
            $"Unable to cast object of type '{target.GetType().FullName}' to type '{wanted.FullName}'.");
    }

    private static ref Slot Occupied(nint handle)
    {
        var slots = s_slots;
        var index = (uint)handle;
        if (index < (uint)slots.Length)
        {
            ref var slot = ref slots[index];
            if (slot.Target != null && slot.Generation == (uint)(handle >> 32))
            {
                return ref slot;
            }
        }
        throw new InvalidOperationException(
            $"The handle 0x{handle:x} is not live: it was given back already or never handed out.");
    }
}
