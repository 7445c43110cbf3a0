// What .NET does to Python objects: everything goes through the callbacks that a module handed over.
//
// All of it runs on a thread that came from Python and holds its lock.
using System;

namespace Zelmor.WrpGen.Core;

/// <summary>A callback failed and left its Python error pending, which has to reach the caller as it is.</summary>
public sealed class PythonErrorPendingException : Exception
{
    public PythonErrorPendingException() : base("A Python error is pending.")
    {
    }
}

/// <summary>Python code that .NET called has raised; the message is Python's.</summary>
public sealed class PythonException : Exception
{
    public PythonException(string message) : base(message)
    {
    }
}

public static unsafe class Python
{
    private static BridgeModule? s_module;

    /// <summary>The module whose functions are used for everything that is the same in all modules: the first.
    /// </summary>
    internal static BridgeModule? Module
    {
        get => s_module;
        set => s_module = value;
    }

    private static BridgeModule Handed => s_module ?? throw new InvalidOperationException(
        "No module has handed its callbacks over.");

    internal static PyReadCallbacks* Read => Handed.Tables->Read;
    internal static PyWriteCallbacks* Write => Handed.Tables->Write;
    internal static PyBufferCallbacks* Buffers => Handed.Tables->Buffer;
    internal static PyIteratorCallbacks* Iterators => Handed.Tables->Iterators;
    internal static PyCollectionCallbacks* Collections => Handed.Tables->Collections;
    internal static PyListCallbacks* Lists => Handed.Tables->Lists;
    internal static PySequenceCallbacks* Sequences => Handed.Tables->Sequences;

    internal static void IncRef(nint item) => Handed.Objects->IncRef(item);

    internal static void DecRef(nint item) => Handed.Objects->DecRef(item);

    /// <summary>A new reference to the object.</summary>
    internal static nint NewReference(nint item)
    {
        Handed.Objects->IncRef(item);
        return item;
    }

    internal static nint None() => Made(Handed.Objects->GetNone());

    internal static nint Text(string text)
    {
        fixed (char* data = text)
        {
            return Made(Handed.StringBuilder(data, text.Length));
        }
    }

    internal static nint Bytes(ReadOnlySpan<byte> bytes)
    {
        byte empty = 0;
        fixed (byte* data = bytes)
        {
            return Made(Handed.BytesBuilder(data != null ? data : &empty, bytes.Length));
        }
    }

    /// <summary>What a builder made; it has left a Python error where it made nothing.</summary>
    internal static nint Made(nint item)
    {
        return item != 0 ? item : throw new PythonErrorPendingException();
    }

    /// <summary>Takes the pending Python error up as text; null where there is none.</summary>
    internal static string? TakeError()
    {
        nint owner = 0;
        var text = new PyStringArg { Length = -1 };
        if (Handed.CatchAndClearError(&owner, &text) != 0)
        {
            return null;
        }
        var taken = Arguments.Text(&text);
        DecRef(owner);
        return taken?.TrimEnd('\n');
    }

    /// <summary>The exception for a callback that failed, with the text of the Python error.</summary>
    internal static Exception Failed(string doing)
    {
        return new PythonException(FailureText(doing));
    }

    /// <summary>The same for an access by index, which answers -2 where the index is out of range.</summary>
    internal static Exception FailedAccess(int status, string doing)
    {
        var text = FailureText(doing);
        return status == -2 ? new ArgumentOutOfRangeException(null, text) : new PythonException(text);
    }

    /// <summary>After a callback whose answer does not tell whether it failed.</summary>
    internal static void ThrowIfFailed(string doing)
    {
        var text = TakeError();
        if (text != null)
        {
            throw new PythonException($"{doing} failed in Python: {text}");
        }
    }

    private static string FailureText(string doing)
    {
        var text = TakeError();
        return text != null ? $"{doing} failed in Python: {text}" : $"{doing} failed in Python without a message.";
    }
}
