// The services of every object, for this assembly's module: text, hash, equality, type, disposal.
using System;
using System.Runtime.InteropServices;
using Zelmor.WrpGen.Core;

namespace Zelmor.WrpGen.Interop;

public static unsafe class ObjectHost
{
    [UnmanagedCallersOnly]
    public static int ToStringOfObj(nint handle, nint* result)
    {
        try
        {
            return ObjectServices.ToText(handle, result);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static int ToStringOfStc(nint handle, nint* result)
    {
        try
        {
            return ObjectServices.ToText(handle, result);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static int GetHashOfObj(nint handle)
    {
        try
        {
            return ObjectServices.Hash(handle);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static int GetHashOfStc(nint handle)
    {
        try
        {
            return ObjectServices.Hash(handle);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static int IsEqualsOfObj(nint handle, VariantArg* other)
    {
        try
        {
            return ObjectServices.AreEqual(handle, other);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static int IsEqualsOfStc(nint handle, VariantArg* other)
    {
        try
        {
            return ObjectServices.AreEqual(handle, other);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static int IsTypeOf(nint handle, VariantArg* type)
    {
        try
        {
            return ObjectServices.IsOfType(handle, type);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static int GetTypeName(VariantArg* item, nint* result)
    {
        try
        {
            return ObjectServices.TypeName(item, result);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static int GetObjType(nint handle, nint* result)
    {
        try
        {
            return ObjectServices.TypeOf(handle, result);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static int GetStcType(nint handle, nint* result)
    {
        try
        {
            return ObjectServices.TypeOf(handle, result);
        }
        catch (Exception e)
        {
            return Errors.Report<int>(e);
        }
    }

    [UnmanagedCallersOnly]
    public static void Dispose(nint handle)
    {
        try
        {
            ObjectServices.Dispose(handle);
        }
        catch (Exception e)
        {
            Errors.Report(e);
        }
    }
}
