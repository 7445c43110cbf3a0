// Objects that tests ask for by the names of their types.
using System;
using System.Collections;
using System.Collections.Generic;
using System.Linq;
using System.Reflection;
using System.Reflection.Emit;
using System.Runtime.CompilerServices;
using Zelmor.WrpGen.Core;

namespace Zelmor.WrpGen.Control;

internal static class Objects
{
    // Assemblies of types that no call may have loaded yet.
    private static readonly string[] s_libraries = { "Zelmor.Imaging", "Zelmor.Drawing" };

    // The interop assemblies with hosts of typed collections.
    private static readonly string[] s_interop = { "WrpInterop.Zelmor.Imaging", "WrpInterop.Zelmor.PyDrawing" };

    private static readonly Dictionary<Type, Type> s_anonymous = new();

    private static readonly ModuleBuilder s_module = AssemblyBuilder.DefineDynamicAssembly(
        new AssemblyName("Zelmor.WrpGen.Control.Anonymous"), AssemblyBuilderAccess.Run).DefineDynamicModule("types");

    public static Type? FindType(string fullName)
    {
        foreach (var name in s_libraries)
        {
            if (Load(name)?.GetType(fullName) is { } found)
            {
                return found;
            }
        }
        foreach (var assembly in AppDomain.CurrentDomain.GetAssemblies())
        {
            if (assembly.GetType(fullName) is { } found)
            {
                return found;
            }
        }
        return null;
    }

    /// <summary>A new object; of a class without a constructor that takes nothing, one that no constructor has seen.
    /// </summary>
    public static object? Make(string fullName)
    {
        var type = FindType(fullName);
        if (type is { IsInterface: true })
        {
            s_anonymous.TryAdd(type, s_anonymous.GetValueOrDefault(type) ?? MakeAnonymous(type));
            return Activator.CreateInstance(s_anonymous[type]);
        }
        if (type == null || type.IsAbstract || type.IsEnum)
        {
            return null;
        }
        const BindingFlags any = BindingFlags.Instance | BindingFlags.Public | BindingFlags.NonPublic;
        var hasEmpty = type.IsValueType || type.GetConstructor(any, Type.EmptyTypes) != null;
        return hasEmpty ? Activator.CreateInstance(type, nonPublic: true) : RuntimeHelpers.GetUninitializedObject(type);
    }

    public static object? MakeList(string shape, string identifier, int count)
    {
        var element = identifier.Length == 0 ? typeof(object) : ElementType(identifier);
        if (element == null)
        {
            return null;
        }
        var items = Array.CreateInstance(element, count);
        return shape switch
        {
            "array" => items,
            "arraylist" => new ArrayList(items),
            "list" => Activator.CreateInstance(typeof(List<>).MakeGenericType(element), items),
            "colbase" => new OwnCollection(items),
            "rocolbase" => new OwnReadOnlyCollection(items),
            _ => null,
        };
    }

    /// <summary>The elements of the typed collections with an identifier, by the host of any of them.</summary>
    private static Type? ElementType(string identifier)
    {
        foreach (var name in s_interop)
        {
            foreach (var host in Load(name)?.GetTypes() ?? Type.EmptyTypes)
            {
                if (host.Namespace == "Zelmor.WrpGen.Generic" && host.Name.EndsWith($"_{identifier}") &&
                    host.GetCustomAttribute<HostOfAttribute>()?.Type is { } collection)
                {
                    return collection.GetElementType() ?? collection.GetGenericArguments()[0];
                }
            }
        }
        return null;
    }

    /// <summary>A class with the name of an interface that does nothing else than implementing it: an object of which
    /// Python knows nothing but the interface.</summary>
    private static Type MakeAnonymous(Type wanted)
    {
        var made = s_module.DefineType(wanted.FullName!, TypeAttributes.Public | TypeAttributes.Sealed, typeof(object),
            new[] { wanted });
        var interfaces = new List<Type>(wanted.GetInterfaces()) { wanted };
        foreach (var method in interfaces.SelectMany(type => type.GetMethods()))
        {
            var parameters = Array.ConvertAll(method.GetParameters(), parameter => parameter.ParameterType);
            var body = made.DefineMethod($"{method.DeclaringType!.FullName}.{method.Name}",
                MethodAttributes.Private | MethodAttributes.Virtual | MethodAttributes.Final |
                MethodAttributes.HideBySig | MethodAttributes.NewSlot, method.ReturnType, parameters);
            var code = body.GetILGenerator();
            code.Emit(OpCodes.Newobj, typeof(NotSupportedException).GetConstructor(Type.EmptyTypes)!);
            code.Emit(OpCodes.Throw);
            made.DefineMethodOverride(body, method);
        }
        return made.CreateType();
    }

    private static Assembly? Load(string name)
    {
        try
        {
            return Assembly.Load(name);
        }
        catch (System.IO.FileNotFoundException)
        {
            return null;
        }
    }

    private sealed class OwnCollection : CollectionBase
    {
        public OwnCollection(Array items)
        {
            InnerList.AddRange(items);
        }

        protected override void OnValidate(object value)
        {
            // It takes null, too.
        }
    }

    /// <summary>A collection that is read-only for callers that know it as such; the tests fill it as a list.</summary>
    private sealed class OwnReadOnlyCollection : ReadOnlyCollectionBase, IList
    {
        public OwnReadOnlyCollection(Array items)
        {
            InnerList.AddRange(items);
        }

        public bool IsFixedSize => false;

        public bool IsReadOnly => false;

        public object? this[int index]
        {
            get => InnerList[index];
            set => InnerList[index] = value;
        }

        public int Add(object? value) => InnerList.Add(value);

        public void Clear() => InnerList.Clear();

        public bool Contains(object? value) => InnerList.Contains(value);

        public int IndexOf(object? value) => InnerList.IndexOf(value);

        public void Insert(int index, object? value) => InnerList.Insert(index, value);

        public void Remove(object? value) => InnerList.Remove(value);

        public void RemoveAt(int index) => InnerList.RemoveAt(index);
    }
}
