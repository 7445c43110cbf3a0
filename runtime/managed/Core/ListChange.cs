// Changes of .NET lists by Python. A class library whose lists stand for others learns of them here.
using System;

namespace Zelmor.WrpGen.Core;

/// <summary>A change of a list: whoever asked is told at its end, even if it was not carried out.</summary>
public readonly struct ListChange : IDisposable
{
    private readonly object? _list;
    private readonly int _index;

    /// <summary>A change of the element at an index, or of any where that is negative.</summary>
    public ListChange(nint handle, int index)
    {
        _list = Told != null ? Handles.Find(handle) : null;
        _index = index;
    }

    /// <summary>Who is told; set once, when an assembly is loaded.</summary>
    public static Action<object?, int>? Told { get; set; }

    public void Dispose() => Told?.Invoke(_list, _index);
}
