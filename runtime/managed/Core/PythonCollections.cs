// Python collections as .NET ones: what a parameter gets that names an interface. Nothing is copied.
using System;
using System.Collections;

namespace Zelmor.WrpGen.Core;

/// <summary>A Python iterator.</summary>
public sealed unsafe class PythonEnumerator : IEnumerator, IDisposable, IPythonProxy
{
    private readonly PyRef _iterator;
    private object? _current;

    public PythonEnumerator(PyRef iterator)
    {
        _iterator = iterator;
    }

    public nint PythonObject => _iterator.Item;

    public object? Current => _current;

    public bool MoveNext()
    {
        nint owner = 0;
        VariantArg element = default;
        var status = Python.Iterators->Next(_iterator.Item, &owner, &element);
        if (status == 1)
        {
            return false;
        }
        if (status != 0)
        {
            throw Python.Failed("Reading the next element");
        }
        object? read;
        try
        {
            read = Arguments.Anything(&element);
        }
        finally
        {
            Python.DecRef(owner); // may end a Python object, which moves this enumerator on
        }
        _current = read;
        return true;
    }

    public void Reset() => throw new NotSupportedException("A Python iterator cannot start again.");

    public void Dispose() => _current = null;
}

/// <summary>A Python object that can be iterated over.</summary>
public unsafe class PythonEnumerable : IEnumerable, IPythonProxy
{
    private readonly PyRef _object;

    public PythonEnumerable(BridgeModule module, PyRef item)
    {
        Module = module;
        _object = item;
    }

    /// <summary>The module that gave the object, whose classes elements that are stored get.</summary>
    protected BridgeModule Module { get; }

    public nint PythonObject => _object.Item;

    public IEnumerator GetEnumerator()
    {
        var iterator = Python.Collections->GetEnumerator(_object.Item);
        return iterator != 0 ? new PythonEnumerator(PyRef.Steal(iterator)) : throw Python.Failed("Iterating");
    }
}

/// <summary>A Python object that has a length, too.</summary>
public unsafe class PythonCollection : PythonEnumerable, ICollection
{
    public PythonCollection(BridgeModule module, PyRef item) : base(module, item)
    {
    }

    public virtual int Count
    {
        get
        {
            var length = Python.Collections->ObjectLength(PythonObject);
            return length >= 0 ? length : throw Python.Failed("Reading the length");
        }
    }

    public bool IsSynchronized => false;

    public object SyncRoot => this;

    public void CopyTo(Array array, int index)
    {
        foreach (var item in this)
        {
            array.SetValue(item, index++);
        }
    }
}

/// <summary>A Python list, or another sequence, which cannot be changed.</summary>
public sealed unsafe class PythonList : PythonCollection, IList
{
    private readonly bool _isList;

    public PythonList(BridgeModule module, PyRef item, bool isList) : base(module, item)
    {
        _isList = isList;
    }

    public override int Count => PythonElements.Length(Argument);

    public bool IsFixedSize => !_isList;

    public bool IsReadOnly => !_isList;

    private VariantArg Argument => new()
    {
        Tag = _isList ? HandleTag.PyObject : HandleTag.PySequence,
        Value = PythonObject,
    };

    public object? this[int index]
    {
        get => Element.Anything.Read(Argument, index);
        set
        {
            RequireList();
            var element = Written(value);
            Python.IncRef(element); // a store that fails takes two references, one that succeeds a single one
            var status = Python.Lists->SetItem(PythonObject, index, element);
            if (status < 0)
            {
                throw Python.FailedAccess(status, "Storing an element");
            }
            Python.DecRef(element);
        }
    }

    public int Add(object? value)
    {
        RequireList();
        var length = Python.Lists->Add(PythonObject, Written(value));
        return length >= 0 ? (int)length - 1 : throw Python.Failed("Adding an element");
    }

    public void Insert(int index, object? value)
    {
        RequireList();
        var status = Python.Lists->Insert(PythonObject, index, Written(value));
        if (status < 0)
        {
            throw Python.FailedAccess(status, "Inserting an element");
        }
    }

    public void Clear()
    {
        RequireList();
        if (Python.Collections->Clear(PythonObject) < 0)
        {
            throw Python.Failed("Clearing the list");
        }
    }

    public bool Contains(object? value)
    {
        var element = Written(value);
        var found = _isList
            ? Python.Lists->Contains(PythonObject, element) : Python.Sequences->Contains(PythonObject, element);
        if (found < 0)
        {
            throw Python.FailedAccess(found, "Looking for an element");
        }
        ThrowIfComparisonFailed();
        return found != 0;
    }

    public int IndexOf(object? value)
    {
        var element = Written(value);
        var found = _isList
            ? Python.Lists->IndexOf(PythonObject, element) : Python.Sequences->IndexOf(PythonObject, element);
        if (found < -1)
        {
            throw Python.Failed("Looking for an element");
        }
        ThrowIfComparisonFailed();
        return found;
    }

    public void Remove(object? value)
    {
        RequireList();
        // A missing element is an error of Python's `remove`, and none here.
        if (Contains(value) && Python.Lists->Remove(PythonObject, Written(value)) < 0)
        {
            throw Python.Failed("Removing an element");
        }
    }

    public void RemoveAt(int index)
    {
        RequireList();
        var status = Python.Collections->RemoveAt(PythonObject, index);
        if (status < 0)
        {
            throw Python.FailedAccess(status, "Removing an element");
        }
    }

    private nint Written(object? value) => Results.Anything(value, Module);

    /// <summary>A comparison that raised does not show in what a sequence answers.</summary>
    private void ThrowIfComparisonFailed()
    {
        if (!_isList)
        {
            Python.ThrowIfFailed("Looking for an element");
        }
    }

    private void RequireList()
    {
        if (!_isList)
        {
            throw new NotSupportedException("Collection is read-only.");
        }
    }
}
