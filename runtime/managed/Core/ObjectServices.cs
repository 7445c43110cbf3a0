// The services of every object, whatever its class is.
using System;
using System.Collections.Concurrent;

namespace Zelmor.WrpGen.Core;

public static unsafe class ObjectServices
{
    private static readonly ConcurrentDictionary<Type, Type> s_shown = new();

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
        *result = Results.Text(Shown(target).FullName);
        return 1;
    }

    public static int TypeOf(nint handle, nint* result)
    {
        *result = Handles.Make(Shown(Handles.Get<object>(handle)));
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
        var name = Shown(Handles.Get<object>(handle)).FullName!;
        fixed (char* data = name)
        {
            return module.Utf16Builder(data, name.Length);
        }
    }

    /// <summary>The run-time type of an object. One of a class that no program can name is known by the interface of the
    /// class library that it implements, where that is a single one.</summary>
    private static Type Shown(object item)
    {
        var type = item.GetType();
        return type.IsVisible ? type : s_shown.GetOrAdd(type, Known);
    }

    private static Type Known(Type type)
    {
        var named = Array.FindAll(type.GetInterfaces(), known => known.IsVisible && known.Assembly == type.Assembly);
        var outer = Array.FindAll(named, known => !Array.Exists(
            named, other => other != known && known.IsAssignableFrom(other)));
        return outer.Length == 1 ? outer[0] : type;
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
