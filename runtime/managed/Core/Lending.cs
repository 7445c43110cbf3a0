// Python objects that a call lends to .NET.
using System.Collections.Generic;

namespace Zelmor.WrpGen.Core;

/// <summary>The references to Python files and collections among the arguments of a call. At its end they are released,
/// unless the member may keep its arguments: then they live as long as the .NET objects that stand for them. A member
/// that failed has kept nothing.</summary>
public struct Lending
{
    private bool _keeps;
    private PyRef? _first;
    private List<PyRef>? _others;

    public Lending(bool keeps)
    {
        _keeps = keeps;
    }

    public void Failed() => _keeps = false;

    public void Release()
    {
        if (_keeps)
        {
            return;
        }
        _first?.Dispose();
        foreach (var item in _others ?? new List<PyRef>(0))
        {
            item.Dispose();
        }
    }

    internal PyRef Borrow(nint item)
    {
        var reference = PyRef.Borrow(item);
        if (_first == null)
        {
            _first = reference;
        }
        else
        {
            (_others ??= new List<PyRef>()).Add(reference);
        }
        return reference;
    }
}
