// Calls of the picture library.
using System;
using System.Collections;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;

namespace Zelmor.Imaging;

/// <summary>A constructor, method, getter or setter of the library, which is looked up at the first call.</summary>
internal sealed unsafe class PictureEntry
{
    private readonly string _type;
    private readonly string _name;
    private nint _found;

    public PictureEntry(string type, string name)
    {
        _type = type;
        _name = name;
    }

    public nint Address => _found != 0 ? _found : Find();

    private nint Find()
    {
        nint found;
        int status;
        var type = Marshal.StringToCoTaskMemUTF8(_type);
        var name = Marshal.StringToCoTaskMemUTF8(_name);
        try
        {
            status = PictureLibrary.Find((byte*)type, (byte*)name, &found);
        }
        finally
        {
            Marshal.FreeCoTaskMem(type);
            Marshal.FreeCoTaskMem(name);
        }
        if (status != 0)
        {
            PictureErrors.Throw();
        }
        return _found = found;
    }
}

/// <summary>Memory that a call fills.</summary>
internal readonly unsafe struct PictureMemory
{
    public PictureMemory(byte* data, int length)
    {
        Data = data;
        Length = length;
    }

    public readonly byte* Data;
    public readonly int Length;

    public static object Of(byte* data, int length) => new PictureMemory(data, length);
}

internal static unsafe class Pictures
{
    /// <summary>Calls a member without a result.</summary>
    public static void Run(object? self, PictureEntry entry, object?[] arguments)
    {
        PictureValue result;
        Call(self, entry, arguments, &result);
    }

    /// <summary>Calls a member with a result. An argument that it writes to has its new value afterwards.</summary>
    public static T Get<T>(object? self, PictureEntry entry, object?[] arguments)
    {
        PictureValue result;
        Call(self, entry, arguments, &result);
        return PictureResults.To<T>(result);
    }

    /// <summary>Makes the object that a constructor is called for.</summary>
    public static void Make(IPictureObject self, PictureEntry entry, object?[] arguments)
    {
        PictureValue result;
        Call(null, entry, arguments, &result);
        PictureHandle.Attach(self, result);
    }

    public static void Dispose(IPictureObject item)
    {
        Check(PictureLibrary.Dispose(HandleOf(item)), item);
        item.Handle?.ForgetPixels();
    }

    /// <summary>Whether the library has an object for this one; it has none where no constructor was called.</summary>
    private static bool IsMade(object item) => item is IPictureObject { Handle: not null };

    public static bool Equal(object item, object? other)
    {
        if (ReferenceEquals(item, other) || other is not IPictureObject { Handle: not null } || !IsMade(item))
        {
            return ReferenceEquals(item, other);
        }
        int equal;
        Check(PictureLibrary.Equal(HandleOf(item), HandleOf(other), &equal), item);
        GC.KeepAlive(other);
        return equal != 0;
    }

    public static int Hash(object item)
    {
        if (!IsMade(item))
        {
            return RuntimeHelpers.GetHashCode(item);
        }
        int hash;
        Check(PictureLibrary.Hash(HandleOf(item), &hash), item);
        return hash;
    }

    public static string Text(object item)
    {
        PictureValue text;
        Check(PictureLibrary.Text(HandleOf(item), &text), item);
        return new string(text.Chars);
    }

    /// <summary>The elements of a collection, as they are now.</summary>
    public static IList Elements(object item)
    {
        PictureValue list;
        Check(PictureLibrary.Enumerate(HandleOf(item), &list), item);
        return (IList)PictureLists.Shown(list, typeof(ArrayList));
    }

    public static nint HandleOf(object item)
    {
        var handle = ((IPictureObject)item).Handle;
        return handle != null ? handle.Value : throw new ObjectDisposedException(item.GetType().FullName);
    }

    private static void Call(object? self, PictureEntry entry, object?[] arguments, PictureValue* result)
    {
        PictureHandle.ReleaseEnded();
        var address = entry.Address;
        var handle = self != null ? HandleOf(self) : 0;
        if (arguments.Length == 0)
        {
            Check(PictureLibrary.Call(address, handle, null, 0, result), self);
            return;
        }
        var values = stackalloc PictureValue[arguments.Length];
        using var passed = new PictureArguments();
        for (var i = 0; i < arguments.Length; i++)
        {
            passed.Set(arguments[i], out values[i]);
        }
        Check(PictureLibrary.Call(address, handle, values, arguments.Length, result), self);
        for (var i = 0; i < arguments.Length; i++)
        {
            // Only numbers are passed by reference: what was none, or was not written to, is the same as before.
            if (arguments[i] is { } number && (number.GetType().IsPrimitive || number is Enum))
            {
                arguments[i] = PictureResults.ToObject(values[i], number.GetType());
            }
            else if (values[i].Kind == PictureKind.Object && values[i].Detail != (int)PictureObjectKind.Plain)
            {
                PictureLists.TakeBack(arguments[i]!, values[i]);
            }
        }
        GC.KeepAlive(arguments);
    }

    public static void Check(int status, object? self)
    {
        GC.KeepAlive(self);
        if (status != 0)
        {
            PictureErrors.Throw();
        }
    }
}
