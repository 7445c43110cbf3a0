// Lists of objects around another list.
using System;
using System.Collections;

namespace Zelmor.Imaging;

public partial class NonGenericList
{
    private IList _inner = new ArrayList();

    [Implements("ctor_000_NonGenericList")]
    public NonGenericList(IList? list)
    {
        ArgumentNullException.ThrowIfNull(list);
        // A list around such a list uses the innermost list directly.
        _inner = list is NonGenericList around ? around._inner : list;
    }

    /// <summary>The list inside. It becomes one of the picture library once that gets this list.</summary>
    internal IList Inner
    {
        get => _inner;
        set => _inner = value;
    }

    int ICollection.Count => _inner.Count;

    bool ICollection.IsSynchronized => _inner.IsSynchronized;

    object ICollection.SyncRoot => _inner.SyncRoot;

    bool IList.IsFixedSize => _inner.IsFixedSize;

    bool IList.IsReadOnly => _inner.IsReadOnly;

    object? IList.this[int index]
    {
        get => _inner[index];
        set => _inner[index] = value;
    }

    [Implements("GetEnumerator")]
    IEnumerator IEnumerable.GetEnumerator() => _inner.GetEnumerator();

    void ICollection.CopyTo(Array array, int index) => _inner.CopyTo(array, index);

    int IList.Add(object? value) => _inner.Add(value);

    void IList.Clear() => _inner.Clear();

    bool IList.Contains(object? value) => _inner.Contains(value);

    int IList.IndexOf(object? value) => _inner.IndexOf(value);

    void IList.Insert(int index, object? value) => _inner.Insert(index, value);

    void IList.Remove(object? value) => _inner.Remove(value);

    void IList.RemoveAt(int index) => _inner.RemoveAt(index);
}
