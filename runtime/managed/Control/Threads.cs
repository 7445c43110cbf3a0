// Threads of .NET beside those of Python, for tests: they collect garbage at any time, hold objects that Python holds
// as well, drop them, and use Python files and lists.
//
// A thread that did not come from Python takes the interpreter's lock itself, by the functions that the test names.
using System;
using System.Collections;
using System.Collections.Generic;
using System.IO;
using System.Runtime.InteropServices;
using System.Threading;

namespace Zelmor.WrpGen.Control;

public static unsafe class Threads
{
    private static readonly object s_lock = new();
    private static readonly List<object> s_held = new();
    private static readonly List<object> s_used = new();
    private static volatile bool s_isStopping;
    private static volatile string s_trouble = "";
    private static int s_running;
    private static long s_done;
    private static delegate* unmanaged<int> s_takeLock;
    private static delegate* unmanaged<int, void> s_giveLock;

    /// <summary>Starts threads that take random steps until they are stopped.</summary>
    [UnmanagedCallersOnly]
    public static void Start(int count, long seed, nint takeLock, nint giveLock)
    {
        s_takeLock = (delegate* unmanaged<int>)takeLock;
        s_giveLock = (delegate* unmanaged<int, void>)giveLock;
        s_isStopping = false;
        s_done = 0;
        s_running = count;
        for (var i = 0; i < count; i++)
        {
            var draw = new Random(unchecked((int)seed + i));
            new Thread(() => Run(draw)) { IsBackground = true }.Start();
        }
    }

    /// <summary>Makes the threads hold an object for a while.</summary>
    [UnmanagedCallersOnly]
    public static void Hold(nint handle) => Add(s_held, Core.Handles.Get<object>(handle));

    /// <summary>Makes the threads use an object: a list, or one with a stream.</summary>
    [UnmanagedCallersOnly]
    public static void Use(nint handle) => Add(s_used, Core.Handles.Get<object>(handle));

    [UnmanagedCallersOnly]
    public static void Stop() => s_isStopping = true;

    /// <summary>How many threads have not ended yet; the last one has dropped all objects.</summary>
    [UnmanagedCallersOnly]
    public static int Running() => Volatile.Read(ref s_running);

    /// <summary>How often Python objects were used.</summary>
    [UnmanagedCallersOnly]
    public static long Done() => Interlocked.Read(ref s_done);

    /// <summary>What a thread found to be wrong, and dropped out for; empty if nothing was.</summary>
    [UnmanagedCallersOnly]
    public static nuint Trouble(byte* buffer, nuint size) => Exports.Deliver(s_trouble, buffer, size);

    private static void Add(List<object> objects, object added)
    {
        lock (s_lock)
        {
            objects.Add(added);
        }
    }

    private static void Run(Random draw)
    {
        try
        {
            while (!s_isStopping)
            {
                Step(draw);
            }
        }
        catch (Exception e)
        {
            s_trouble = e.ToString();
        }
        if (Interlocked.Decrement(ref s_running) == 0)
        {
            lock (s_lock)
            {
                s_held.Clear();
                s_used.Clear();
            }
        }
    }

    private static void Step(Random draw)
    {
        switch (draw.Next(8))
        {
            case 0:
                GC.Collect(draw.Next(3), GCCollectionMode.Forced, blocking: draw.Next(2) == 0);
                break;
            case 1:
                GC.WaitForPendingFinalizers();
                break;
            case 2:
                lock (s_lock)
                {
                    s_held.RemoveRange(0, draw.Next(s_held.Count + 1));
                }
                break;
            case 3:
                GC.KeepAlive(new byte[draw.Next(200_000)]);
                break;
            case 4:
            case 5:
                UseOne(draw);
                break;
            default:
                Thread.Sleep(1);
                break;
        }
    }

    private static void UseOne(Random draw)
    {
        object used;
        lock (s_lock)
        {
            if (s_used.Count == 0)
            {
                return;
            }
            used = s_used[draw.Next(s_used.Count)];
        }
        var state = s_takeLock();
        try
        {
            if (used is IList list)
            {
                foreach (var item in list)
                {
                    Require(Convert.ToInt32(item), "an element");
                }
            }
            else
            {
                // Streams are found by the name of the property, since the control interface knows no class library.
                Read((Stream)used.GetType().GetProperty("Stream")!.GetValue(used)!, draw);
            }
            Interlocked.Increment(ref s_done);
        }
        finally
        {
            s_giveLock(state);
        }
    }

    private static void Read(Stream stream, Random draw)
    {
        var bytes = new byte[draw.Next(1, 2000)];
        stream.Position = draw.NextInt64(stream.Length);
        var count = stream.Read(bytes);
        for (var i = 0; i < count; i++)
        {
            Require(bytes[i], "a byte");
        }
    }

    /// <summary>Everything that several threads use has the same value everywhere.</summary>
    private static void Require(int value, string what)
    {
        if (value != 0x5A)
        {
            throw new InvalidDataException($"{what} of an object that threads share is {value}.");
        }
    }
}
