// The services of every object, whatever its class is.
using System;
using System.Runtime.CompilerServices;

namespace Zelmor.WrpGen.Core;

public static unsafe class ObjectServices
{
    public static int ToText(nint handle, nint* result)
    {
        *result = Results.Text(Handles.Get<object>(handle).ToString() ?? "");
        return 1;
    }

    public static int Hash(nint handle) => Handles.Get<object>(handle).GetHashCode();

    /// <summary>A Python object is never equal to a .NET one.</summary>
    public static int AreEqual(nint handle, VariantArg* other)
    {
        if (other->Tag > HandleTag.Struct)
        {
            return 0;
        }
        return Handles.Get<object>(handle).Equals(Handles.Find(other->Value)) ? 1 : 0;
    }

    public static int IsOfType(nint handle, VariantArg* type)
    {
        var wanted = Arguments.Instance<Type>(type);
        ArgumentNullException.ThrowIfNull(wanted, nameof(type));
        return wanted.IsInstanceOfType(Handles.Get<object>(handle)) ? 1 : 0;
    }

    public static int TypeName(VariantArg* item, nint* result)
    {
        var target = Arguments.Instance<object>(item);
        ArgumentNullException.ThrowIfNull(target, nameof(item));
        *result = Results.Text(target.GetType().FullName);
        return 1;
    }

    public static int TypeOf(nint handle, nint* result)
    {
        *result = Handles.Make(Handles.Get<object>(handle).GetType());
        return 1;
    }

    public static void Dispose(nint handle)
    {
        var target = Handles.Get<object>(handle);
        (target as IDisposable ?? throw Handles.WrongTarget(target, typeof(IDisposable))).Dispose();
    }

    /// <summary>The holder of a run-time type's name; the reader frees it.</summary>
    public static void* TypeNameBuffer(nint handle, BridgeModule module)
    {
        var name = Handles.Get<object>(handle).GetType().FullName!;
        fixed (char* data = name)
        {
            return module.Utf16Builder(data, name.Length);
        }
    }

    /// <summary>A struct handle names a box already, so that it is the same handle that leaves: the reader asks for
    /// this in place of the handle that it has, and never gives that one back.</summary>
    public static nint Box(nint handle)
    {
        Handles.Get<object>(handle);
        return handle;
    }

    public static void FreePending(VariantArg* arguments, int count)
    {
        for (var i = 0; i < count; i++)
        {
            if (arguments[i].Tag <= HandleTag.Struct)
            {
                Handles.Free(arguments[i].Value);
            }
        }
    }
}
