// References from .NET to Python objects.
using System;
using System.Collections.Concurrent;

namespace Zelmor.WrpGen.Core;

/// <summary>An object of .NET that stands for a Python object; a result shows the Python object itself.</summary>
public interface IPythonProxy
{
    nint PythonObject { get; }
}

/// <summary>A strong reference to a Python object. The finalizer runs on a thread that must not touch Python: it puts
/// the object into a queue, which the next call that gives a handle back or makes a reference works off.</summary>
public sealed class PyRef : IDisposable
{
    private static readonly ConcurrentQueue<nint> s_waiting = new();
    private static volatile bool s_hasWaiting;

    private nint _item;

    private PyRef(nint item)
    {
        _item = item;
    }

    ~PyRef()
    {
        if (_item != 0)
        {
            s_waiting.Enqueue(_item);
            s_hasWaiting = true;
        }
    }

    /// <summary>The object; one that was lent for a call is not there any more after it.</summary>
    public nint Item => _item != 0 ? _item : throw new ObjectDisposedException(
        null, "The Python object was lent for the length of a call, which is over.");

    /// <summary>Adds a reference of its own.</summary>
    public static PyRef Borrow(nint item)
    {
        Python.IncRef(item);
        return Steal(item);
    }

    /// <summary>Takes the caller's reference over.</summary>
    public static PyRef Steal(nint item)
    {
        ReleaseWaiting();
        return new PyRef(item);
    }

    public void Dispose()
    {
        var item = _item;
        _item = 0;
        GC.SuppressFinalize(this);
        if (item != 0)
        {
            Python.DecRef(item);
        }
    }

    /// <summary>Releases what finalizers have left, on a thread that holds Python's lock.</summary>
    public static void ReleaseWaiting()
    {
        if (!s_hasWaiting)
        {
            return;
        }
        s_hasWaiting = false;
        while (s_waiting.TryDequeue(out var item))
        {
            Python.DecRef(item);
        }
    }
}
