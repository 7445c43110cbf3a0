// Objects that live in the picture library, and the handles that keep them alive.
using System;
using System.Collections.Concurrent;
using System.Collections.Generic;
using System.Runtime.CompilerServices;

namespace Zelmor.Imaging;

/// <summary>Names a class whose objects, and those of the classes derived from it, live in the picture library: the
/// generator writes each member as a call of it.</summary>
[AttributeUsage(AttributeTargets.Assembly, AllowMultiple = true)]
internal sealed class InPictureLibraryAttribute : Attribute
{
    public InPictureLibraryAttribute(string type)
    {
        Type = type;
    }

    public string Type { get; }
}

/// <summary>An object of such a class.</summary>
internal interface IPictureObject
{
    PictureHandle? Handle { get; set; }
}

/// <summary>Chooses the constructors that leave the making of the object to the derived class.</summary>
internal readonly struct NotMade
{
}

/// <summary>Keeps an object of the picture library alive. Finalizers run beside any call, and their thread must not wait
/// for one: they put the handle into a queue, which the next call empties.</summary>
internal sealed class PictureHandle
{
    private static readonly ConcurrentQueue<(nint Handle, long Identity)> s_ended = new();
    private static readonly Dictionary<long, WeakReference<object>> s_known = new();

    private readonly long _identity;

    private PictureHandle(nint value, long identity)
    {
        Value = value;
        _identity = identity;
    }

    ~PictureHandle() => s_ended.Enqueue((Value, _identity));

    public nint Value { get; }

    /// <summary>Lets an object stand for what a call has made.</summary>
    public static void Attach(object item, in PictureValue made)
    {
        ((IPictureObject)item).Handle = new PictureHandle((nint)made.Word, made.Length);
        lock (s_known)
        {
            s_known[made.Length] = new WeakReference<object>(item);
        }
    }

    /// <summary>The object that stands for what a call has given; a new one of the class where there is none.</summary>
    public static unsafe object Shown(in PictureValue given, Type type)
    {
        lock (s_known)
        {
            if (s_known.TryGetValue(given.Length, out var known) && known.TryGetTarget(out var item))
            {
                s_ended.Enqueue(((nint)given.Word, 0));
                return item;
            }
        }
        var made = RuntimeHelpers.GetUninitializedObject(type);
        Attach(made, given);
        return made;
    }

    /// <summary>Gives back what finalizers have put into the queue.</summary>
    public static unsafe void ReleaseEnded()
    {
        while (s_ended.TryDequeue(out var ended))
        {
            if (ended.Identity != 0)
            {
                lock (s_known)
                {
                    if (s_known.TryGetValue(ended.Identity, out var known) && !known.TryGetTarget(out _))
                    {
                        s_known.Remove(ended.Identity);
                    }
                }
            }
            PictureLibrary.Release(ended.Handle);
        }
    }
}
