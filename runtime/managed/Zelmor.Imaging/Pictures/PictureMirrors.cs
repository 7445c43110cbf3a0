// Objects of this library that the picture library has to see: it gets objects of its own with the same values.
using System;
using System.Collections.Generic;
using System.IO;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using Zelmor.Imaging.Sources;

namespace Zelmor.Imaging;

internal static unsafe class PictureMirrors
{
    private static readonly PictureEntry s_container = new("Zelmor.Imaging.StreamContainer", "ctor_001_StreamContainer");

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

    // The mirrors of sources, whose values never change: each has one as long as it lives, and results show the source.
    private static readonly ConditionalWeakTable<object, Held> s_ofSources = new();

    private sealed class Anchor : IPictureObject
    {
        PictureHandle? IPictureObject.Handle { get; set; }
    }

    public static Held Of(object item)
    {
        if (item is not Source)
        {
            return Made(item);
        }
        lock (s_ofSources)
        {
            if (!s_ofSources.TryGetValue(item, out var held))
            {
                s_ofSources.Add(item, held = Made(item));
                PictureHandle.Know(held.Identity, item);
            }
            return held;
        }
    }

    private static Held Made(object item)
    {
        var anchor = new Anchor();
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
            default:
                throw new NotSupportedException(
                    $"{item.GetType().FullName} as an argument is not supported by this class library.");
        }
        return new Held(anchor);
    }

    /// <summary>An object with the values of one that the picture library holds.</summary>
    public static object Back(in PictureValue given, Type type)
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
        throw new NotSupportedException($"{type.FullName} as a result is not supported by this class library.");
    }

    private static void Make(Anchor anchor, object item, params (string Name, object? Value)[] properties)
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

    private static T Stored<T>(nint handle, string name)
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
        return PictureResults.To<T>(value);
    }
}
