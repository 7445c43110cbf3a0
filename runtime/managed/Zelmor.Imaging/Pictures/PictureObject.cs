// Objects that live in the picture library, and the handles that keep them alive.
using System;
using System.Collections.Concurrent;
using System.Collections.Generic;
using System.Runtime.CompilerServices;

namespace Zelmor.Imaging;

/// <summary>Objects of classes without a hand-written part live in the picture library: the generator writes each
/// member as a call of it.</summary>
[AttributeUsage(AttributeTargets.Assembly)]
internal sealed class HasPictureLibraryAttribute : Attribute
{
}

/// <summary>An object of such a class.</summary>
internal interface IPictureObject
{
    PictureHandle? Handle { get; set; }
}

/// <summary>What the library holds for an object that is one of .NET.</summary>
internal sealed class PictureAnchor : IPictureObject
{
    public PictureAnchor()
    {
    }

    public PictureAnchor(in PictureValue given)
    {
        PictureHandle.Attach(this, given);
    }

    PictureHandle? IPictureObject.Handle { get; set; }
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
    private long _bytes = -1; // that the garbage collector was told of; -1 for none

    private PictureHandle(in PictureValue made)
    {
        Value = (nint)made.Word;
        _identity = made.Length;
    }

    ~PictureHandle()
    {
        ForgetPixels();
        s_ended.Enqueue((Value, _identity));
    }

    public nint Value { get; }

    /// <summary>Lets an object stand for what a call has made.</summary>
    public static void Attach(IPictureObject item, in PictureValue made)
    {
        var handle = new PictureHandle(made);
        item.Handle = handle;
        if (item is not PictureAnchor)
        {
            Know(made.Length, item);
        }
        if (item is Image { Disposed: false } image)
        {
            // The garbage collector sees nothing of the pixels: without this, pictures that nobody needs would stay.
            handle._bytes = 4L * image.Width * image.Height;
            GC.AddMemoryPressure(handle._bytes + 1);
        }
    }

    /// <summary>Lets an object of this library be the one that results show in the place of another.</summary>
    public static void Know(long identity, object item)
    {
        lock (s_known)
        {
            s_known[identity] = new WeakReference<object>(item);
        }
    }

    public long Identity => _identity;

    /// <summary>The object that stands for what a call has given already; null where there is none.</summary>
    public static object? Known(in PictureValue given)
    {
        lock (s_known)
        {
            if (s_known.TryGetValue(given.Length, out var known) && known.TryGetTarget(out var item))
            {
                s_ended.Enqueue(((nint)given.Word, 0));
                return item;
            }
        }
        return null;
    }

    /// <summary>A new object of the class that stands for what a call has given.</summary>
    public static object Shown(in PictureValue given, Type type)
    {
        var made = (IPictureObject)RuntimeHelpers.GetUninitializedObject(type);
        Attach(made, given);
        return made;
    }

    /// <summary>The pixels of the picture are gone, or go.</summary>
    public void ForgetPixels()
    {
        var bytes = System.Threading.Interlocked.Exchange(ref _bytes, -1);
        if (bytes >= 0)
        {
            GC.RemoveMemoryPressure(bytes + 1);
        }
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
