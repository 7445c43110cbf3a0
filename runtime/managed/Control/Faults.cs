// Types whose static constructors throw, for the tests of such failures.
using System;
using System.Runtime.InteropServices;
using Zelmor.WrpGen.Core;

namespace Zelmor.WrpGen.Control;

/// <summary>An entry point that uses a type which cannot be initialized.</summary>
public static class FaultyLibrary
{
    [UnmanagedCallersOnly]
    public static int Use()
    {
        try
        {
            return Broken.Value;
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    private static class Broken
    {
        public static readonly int Value = Environment.ProcessId;

        static Broken()
        {
            throw new InvalidOperationException("The library is broken.");
        }
    }
}

/// <summary>A host that cannot be initialized: its entry point is never reached.</summary>
public static class FaultyHost
{
    private static readonly int s_value;

    static FaultyHost()
    {
        s_value = 1;
        throw new InvalidOperationException("The host is broken.");
    }

    [UnmanagedCallersOnly]
    public static int Use() => s_value;
}
