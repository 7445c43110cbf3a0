// A dictionary with keys and values of any type, in the order in which they were added.
using System;
using System.Collections;

namespace Zelmor.Imaging;

public partial class NonGenericDictionary
{
    private readonly ArrayList _keys = new();
    private readonly ArrayList _values = new();

    [Implements("get_IsFixedSize")]
    public virtual bool IsFixedSize => false;

    [Implements("get_IsReadOnly")]
    public virtual bool IsReadOnly => false;

    // Copies, so that the dictionary can be changed while a caller iterates over them.
    [Implements("get_Keys")]
    public virtual ICollection? Keys => new ArrayList(_keys);

    [Implements("get_Values")]
    public virtual ICollection? Values => new ArrayList(_values);

    int ICollection.Count => _keys.Count;

    bool ICollection.IsSynchronized => false;

    object ICollection.SyncRoot => this;

    [Implements("call_000_Add")]
    public virtual void Add(object? key, object? value)
    {
        ArgumentNullException.ThrowIfNull(key);
        if (_keys.Contains(key))
        {
            throw new ArgumentException("An item with the same key has already been added.");
        }
        _keys.Add(key);
        _values.Add(value);
    }

    [Implements("call_000_Remove")]
    public virtual void Remove(object? key)
    {
        ArgumentNullException.ThrowIfNull(key);
        var found = _keys.IndexOf(key);
        if (found >= 0)
        {
            _keys.RemoveAt(found);
            _values.RemoveAt(found);
        }
    }

    [Implements("call_000_Clear")]
    public virtual void Clear()
    {
        _keys.Clear();
        _values.Clear();
    }

    [Implements("GetEnumerator")]
    IEnumerator IEnumerable.GetEnumerator() => _keys.GetEnumerator();

    void ICollection.CopyTo(Array array, int index) => _keys.CopyTo(array, index);
}
