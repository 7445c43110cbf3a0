// The service channel of the bridge: the hand-over of callbacks, giving handles back, names of types.
using System;
using System.Runtime.InteropServices;
using Zelmor.WrpGen.Core;

namespace Zelmor.WrpGen.Interop;

/// <summary>The Python module that this assembly is the .NET half of.</summary>
internal static class Bridge
{
    public static readonly BridgeModule Module = new(typeof(Bridge).Assembly.GetName().Name!);
}

public static unsafe class ExchangeHost
{
    [UnmanagedCallersOnly]
    public static void* GetTypeName(nint handle)
    {
        try
        {
            return ObjectServices.TypeNameBuffer(handle, Bridge.Module);
        }
        catch (Exception e)
        {
            Errors.Report(e);
            return null;
        }
    }

    [UnmanagedCallersOnly]
    public static void SetExceptionCallback(nint callback)
    {
        Bridge.Module.Exception = (delegate* unmanaged<nint, nint, void>)callback;
        Bridge.Module.Share();
    }

    [UnmanagedCallersOnly]
    public static void SetCatchAndClearErrorCallback(nint callback)
    {
        Bridge.Module.CatchAndClearError = (delegate* unmanaged<nint*, PyStringArg*, int>)callback;
    }

    [UnmanagedCallersOnly]
    public static void SetU16StrBuilderCallback(nint callback)
    {
        Bridge.Module.Utf16Builder = (delegate* unmanaged<char*, int, void*>)callback;
    }

    [UnmanagedCallersOnly]
    public static void SetPyUnraisableStrBuilderCallback(nint callback)
    {
        Bridge.Module.UnraisableStringBuilder = (delegate* unmanaged<char*, int, nint>)callback;
    }

    [UnmanagedCallersOnly]
    public static void SetPyStrBuilderCallback(nint callback)
    {
        Bridge.Module.StringBuilder = (delegate* unmanaged<char*, int, nint>)callback;
    }

    [UnmanagedCallersOnly]
    public static void SetPyBytesBuilderCallback(nint callback)
    {
        Bridge.Module.BytesBuilder = (delegate* unmanaged<byte*, int, nint>)callback;
    }

    [UnmanagedCallersOnly]
    public static void SetPyObjApiCallbacks(void** table) => Bridge.Module.Objects = (PyObjApiCallbacks*)table;

    [UnmanagedCallersOnly]
    public static void SetPyStaticCallbacks(void*** tables) => Bridge.Module.Tables = (PyStaticCallbacks*)tables;

    [UnmanagedCallersOnly]
    public static void SetPyGenericCallbacks(void*** tables) => Bridge.Module.Elements = tables;

    [UnmanagedCallersOnly]
    public static void FreePendingArgs(VariantArg* arguments, int count)
    {
        try
        {
            ObjectServices.FreePending(arguments, count);
        }
        catch (Exception e)
        {
            Errors.Report(e);
        }
    }

    [UnmanagedCallersOnly]
    public static void FreeInstance(nint handle)
    {
        try
        {
            Handles.Free(handle);
        }
        catch (Exception e)
        {
            Errors.Report(e);
        }
    }

    [UnmanagedCallersOnly]
    public static void InitServices()
    {
        try
        {
            Bridge.Module.Complete();
        }
        catch (Exception e)
        {
            Errors.Report(e);
        }
    }

    [UnmanagedCallersOnly]
    public static nint BoxStcTarget(nint handle)
    {
        try
        {
            return ObjectServices.Box(handle);
        }
        catch (Exception e)
        {
            return Errors.Report<nint>(e);
        }
    }
}
