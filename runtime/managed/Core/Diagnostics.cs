// What tests ask of this runtime beside the calls of the bridge; found by name, like every entry point.
using System;
using System.Runtime.InteropServices;

namespace Zelmor.WrpGen.Core;

public static class Diagnostics
{
    /// <summary>How many handles are out.</summary>
    [UnmanagedCallersOnly]
    public static long LiveHandles() => Handles.Live;

    /// <summary>Collects all garbage, waits for the finalizers, and releases the Python objects that they left.
    /// </summary>
    [UnmanagedCallersOnly]
    public static void Collect()
    {
        GC.Collect();
        GC.WaitForPendingFinalizers();
        GC.Collect();
        PyRef.ReleaseWaiting();
    }
}
