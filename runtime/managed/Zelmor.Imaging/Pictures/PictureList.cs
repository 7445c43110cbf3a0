// A list of the picture library as one of .NET: every member uses the list itself.
using System;
using System.Collections;

namespace Zelmor.Imaging;

internal sealed unsafe class PictureList : IList
{
    private readonly IPictureObject _item;

    public PictureList(IPictureObject item)
    {
        _item = item;
    }

    public int Count
    {
        get
        {
            PictureValue found;
            Pictures.Check(PictureLibrary.Elements(Pictures.HandleOf(_item), &found), _item);
            return (int)found.Length;
        }
    }

    public bool IsFixedSize => false;

    public bool IsReadOnly => false;

    public bool IsSynchronized => false;

    public object SyncRoot => this;

    public object? this[int index]
    {
        get
        {
            PictureValue value;
            Pictures.Check(PictureLibrary.Item(Pictures.HandleOf(_item), index, &value), _item);
            return PictureResults.ToObject(value, typeof(object));
        }
        set => Change(PictureChange.Set, index, value);
    }

    public int Add(object? value)
    {
        var end = Count;
        Change(PictureChange.Insert, end, value);
        return end;
    }

    public void Clear()
    {
        for (var i = Count - 1; i >= 0; i--)
        {
            RemoveAt(i);
        }
    }

    public bool Contains(object? value) => IndexOf(value) >= 0;

    public int IndexOf(object? value)
    {
        var count = Count;
        for (var i = 0; i < count; i++)
        {
            if (Equals(this[i], value))
            {
                return i;
            }
        }
        return -1;
    }

    public void Insert(int index, object? value) => Change(PictureChange.Insert, index, value);

    public void Remove(object? value)
    {
        if (IndexOf(value) is >= 0 and var found)
        {
            RemoveAt(found);
        }
    }

    public void RemoveAt(int index) => Change(PictureChange.Remove, index, null);

    public void CopyTo(Array array, int index) => Pictures.Elements(_item).CopyTo(array, index);

    public IEnumerator GetEnumerator() => Pictures.Elements(_item).GetEnumerator();

    private void Change(PictureChange what, int index, object? value)
    {
        PictureHandle.ReleaseEnded();
        using var passed = new PictureArguments();
        passed.Set(value, out var given);
        Pictures.Check(PictureLibrary.Change(Pictures.HandleOf(_item), (int)what, index, &given), _item);
    }
}
