// A Python module of the bridge, as its interop assembly sees it: the callbacks that the module handed over.
using System;
using System.Collections.Generic;

namespace Zelmor.WrpGen.Core;

/// <summary>The callbacks of one module. All modules hand over copies of the same functions, which differ in the
/// classes that they know: those that make wrappers, and those of files, are used of the module that is called.
/// </summary>
public sealed unsafe class BridgeModule
{
    private static readonly List<BridgeModule> s_ready = new();

    private readonly string _assembly;
    private bool _isComplete;

    public BridgeModule(string assembly)
    {
        _assembly = assembly;
    }

    public delegate* unmanaged<nint, nint, void> Exception { get; set; }
    public delegate* unmanaged<nint*, PyStringArg*, int> CatchAndClearError { get; set; }
    public delegate* unmanaged<char*, int, void*> Utf16Builder { get; set; }
    public delegate* unmanaged<char*, int, nint> StringBuilder { get; set; }
    public delegate* unmanaged<char*, int, nint> UnraisableStringBuilder { get; set; }
    public delegate* unmanaged<byte*, int, nint> BytesBuilder { get; set; }
    public PyObjApiCallbacks* Objects { get; set; }
    public PyStaticCallbacks* Tables { get; set; }

    /// <summary>One-slot tables for reading typed elements: those of lists, then those of other sequences.</summary>
    public void*** Elements { get; set; }

    /// <summary>The modules that are ready, in the order of their imports.</summary>
    internal static IReadOnlyList<BridgeModule> Ready => s_ready;

    /// <summary>Ends the hand-over. A gap would otherwise show in the middle of some later call.</summary>
    public void Complete()
    {
        if (Exception == null || CatchAndClearError == null || Utf16Builder == null || StringBuilder == null ||
            UnraisableStringBuilder == null || BytesBuilder == null || Objects == null || Tables == null ||
            Elements == null)
        {
            throw new InvalidOperationException($"Not all callbacks of {_assembly} were handed over.");
        }
        if (!_isComplete)
        {
            _isComplete = true;
            s_ready.Add(this);
        }
    }

    /// <summary>Makes the functions of this module those of <see cref="Python"/> unless another module was first.
    /// </summary>
    public void Share()
    {
        Python.Module ??= this;
    }
}
