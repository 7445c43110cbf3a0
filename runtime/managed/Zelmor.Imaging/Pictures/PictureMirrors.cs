// Objects of this library that the picture library has to see: it gets objects of its own with the same values.
using System;
using System.Collections.Generic;
using System.IO;
using System.Reflection;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using Zelmor.Imaging.FileFormats.Emf;
using Zelmor.Imaging.Sources;

namespace Zelmor.Imaging;

internal static unsafe class PictureMirrors
{
    private static readonly PictureEntry s_container = new("Zelmor.Imaging.StreamContainer", "ctor_001_StreamContainer");
    private static readonly PictureEntry s_disposes =
        new("Zelmor.Imaging.StreamContainer", "get_IsStreamDisposedOnClose");
    private static readonly PictureEntry s_filePath = new("Zelmor.Imaging.FileStreamContainer", "get_FilePath");
    private static readonly PictureEntry s_list = new("Zelmor.Imaging.NonGenericList", "ctor_000_NonGenericList");
    private static readonly PictureEntry s_records = new(
        "Zelmor.Imaging.FileFormats.Emf.MetaObjectList", "ctor_000_MetaObjectList");

    /// <summary>A handle that ends with its holder.</summary>
    internal sealed class Held
    {
        private readonly IPictureObject _item;

        public Held(IPictureObject item)
        {
            _item = item;
        }

        public nint Value => _item.Handle!.Value;

        public long Identity => _item.Handle!.Identity;
    }

    // The mirrors of objects: each has one as long as it lives, and results show the object that the mirror is of.
    private static readonly ConditionalWeakTable<object, Held> s_mirrors = new();

    public static Held Of(object item)
    {
        if (item.GetType().IsValueType)
        {
            return Made(item);
        }
        lock (s_mirrors)
        {
            if (item is StreamContainer { Disposed: true } || !s_mirrors.TryGetValue(item, out var held))
            {
                held = Made(item);
                s_mirrors.AddOrUpdate(item, held);
                PictureHandle.Know(held.Identity, item);
            }
            return held;
        }
    }

    /// <summary>Lets an object of this library stand for what a call has given.</summary>
    private static object Standing(object item, PictureAnchor anchor)
    {
        var held = new Held(anchor);
        s_mirrors.AddOrUpdate(item, held);
        PictureHandle.Know(held.Identity, item);
        return item;
    }

    private static Held Made(object item)
    {
        var anchor = new PictureAnchor();
        switch (item)
        {
            case StreamSource source:
                Make(anchor, source, ("Stream", source.Stream),
                     ("DisposeStream", source.DisposeStream && !source.HasOwnMemory));
                break;
            case FileCreateSource source:
                Make(anchor, source, ("FilePath", source.FilePath), ("IsTemporal", source.IsTemporal));
                break;
            case FileOpenSource source:
                Make(anchor, source, ("FilePath", source.FilePath));
                break;
            case StreamContainer container:
                Pictures.Make(anchor, s_container, [container.Stream, false]);
                break;
            case NonGenericList list:
                Pictures.Make(anchor, list is MetaObjectList ? s_records : s_list, [list.Inner]);
                list.Inner = new PictureList(anchor); // from now on both are one list
                break;
            case ValueType:
                Make(anchor, item, Values(item));
                break;
            default:
                throw new NotSupportedException(
                    $"{item.GetType().FullName} as an argument is not supported by this class library.");
        }
        return new Held(anchor);
    }

    /// <summary>The values of a structure.</summary>
    private static (string Name, object? Value)[] Values(object item)
    {
        return Array.ConvertAll(Properties(item.GetType()), property => (property.Name, property.GetValue(item)));
    }

    private static PropertyInfo[] Properties(Type type)
    {
        return type.GetProperties(BindingFlags.Public | BindingFlags.Instance | BindingFlags.DeclaredOnly);
    }

    /// <summary>An object with the values of one that the picture library holds, which it takes over.</summary>
    public static object Back(in PictureValue given, Type type)
    {
        if (type == typeof(StreamContainer) || type == typeof(FileStreamContainer))
        {
            var container = new PictureAnchor(given);
            var stream = new PictureStream(container);
            return Standing(type == typeof(StreamContainer)
                ? new StreamContainer(stream, Pictures.Get<bool>(container, s_disposes, []))
                : new FileStreamContainer(stream, Pictures.Get<string>(container, s_filePath, [])), container);
        }
        if (typeof(NonGenericList).IsAssignableFrom(type))
        {
            var anchor = new PictureAnchor(given);
            var list = new PictureList(anchor);
            return Standing(type == typeof(MetaObjectList) ? new MetaObjectList(list) : new NonGenericList(list), anchor);
        }
        if (type.IsClass && type.Assembly == typeof(System.Drawing.RotateFlipType).Assembly)
        {
            // An object of the drawing module, which has no members here: it can be given back.
            return Standing(RuntimeHelpers.GetUninitializedObject(type), new PictureAnchor(given));
        }
        try
        {
            return Copy(given, type);
        }
        finally
        {
            PictureLibrary.Release((nint)given.Word);
        }
    }

    private static object Copy(in PictureValue given, Type type)
    {
        var handle = (nint)given.Word;
        if (type == typeof(StreamSource))
        {
            return new StreamSource(Stored<Stream>(handle, "Stream"), Stored<bool>(handle, "DisposeStream"));
        }
        if (type == typeof(FileCreateSource))
        {
            return new FileCreateSource(Stored<string>(handle, "FilePath"), Stored<bool>(handle, "IsTemporal"));
        }
        if (type == typeof(FileOpenSource))
        {
            return new FileOpenSource(Stored<string>(handle, "FilePath"));
        }
        if (type.IsValueType)
        {
            var made = Activator.CreateInstance(type)!;
            foreach (var property in Properties(type))
            {
                property.SetValue(made, Stored(handle, property.Name, property.PropertyType));
            }
            return made;
        }
        throw new NotSupportedException($"{type.FullName} as a result is not supported by this class library.");
    }

    private static void Make(PictureAnchor anchor, object item, params (string Name, object? Value)[] properties)
    {
        var named = stackalloc PictureNamed[properties.Length];
        using var passed = new PictureArguments();
        var names = new List<nint>();
        try
        {
            for (var i = 0; i < properties.Length; i++)
            {
                names.Add(Marshal.StringToCoTaskMemUTF8(properties[i].Name));
                named[i].Name = (byte*)names[i];
                passed.Set(properties[i].Value, out named[i].Value);
            }
            PictureValue made;
            if (PictureLibrary.Make(PictureArguments.NameOf(item.GetType()), named, properties.Length, &made) != 0)
            {
                PictureErrors.Throw();
            }
            PictureHandle.Attach(anchor, made);
        }
        finally
        {
            names.ForEach(Marshal.FreeCoTaskMem);
        }
    }

    private static T Stored<T>(nint handle, string name) => (T)Stored(handle, name, typeof(T))!;

    private static object? Stored(nint handle, string name, Type type)
    {
        PictureValue value;
        var text = Marshal.StringToCoTaskMemUTF8(name);
        try
        {
            if (PictureLibrary.Stored(handle, (byte*)text, &value) != 0)
            {
                PictureErrors.Throw();
            }
        }
        finally
        {
            Marshal.FreeCoTaskMem(text);
        }
        return PictureResults.ToObject(value, type);
    }
}
