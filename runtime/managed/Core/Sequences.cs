// What Python does with a .NET list, array or collection: length, elements, search, change, operations on many.
//
// Indices and bounds that the caller leaves to this side are read as Python's list reads them: a negative one counts
// from the end, and bounds are clamped.
using System;
using System.Collections;
using System.Collections.Generic;

namespace Zelmor.WrpGen.Core;

public static class Sequences
{
    public static int Get<T>(IList<T> list, int index, out T item)
    {
        if ((uint)index >= (uint)list.Count)
        {
            item = default!;
            return ElementStatus.OutOfRange;
        }
        item = list[index];
        return ElementStatus.Delivered;
    }

    public static T GetNoCheck<T>(IList<T> list, int index)
    {
        RequireInRange(list, index);
        return list[index];
    }

    public static int Set<T>(IList<T> list, int index, T item)
    {
        if ((uint)index >= (uint)list.Count)
        {
            return ElementStatus.OutOfRange;
        }
        list[index] = item;
        return ElementStatus.Delivered;
    }

    public static void SetNoCheck<T>(IList<T> list, int index, T item)
    {
        RequireInRange(list, index);
        list[index] = item;
    }

    public static void Insert<T>(IList<T> list, int index, T item) => list.Insert(Clamped(index, list.Count), item);

    public static int RemoveAt<T>(IList<T> list, int index)
    {
        if ((uint)index >= (uint)list.Count)
        {
            return ElementStatus.OutOfRange;
        }
        list.RemoveAt(index);
        return ElementStatus.Delivered;
    }

    public static int Pop<T>(IList<T> list, bool hasIndex, int index, out T item)
    {
        item = default!;
        if (list.Count == 0)
        {
            return ElementStatus.Empty;
        }
        index = hasIndex ? index : -1;
        index = index < 0 ? index + list.Count : index;
        if ((uint)index >= (uint)list.Count)
        {
            return ElementStatus.OutOfRange;
        }
        item = list[index];
        list.RemoveAt(index);
        return ElementStatus.Delivered;
    }

    /// <summary>Appends another collection of the same element type; false leaves the work to the caller.</summary>
    public static bool Concat<T>(ICollection<T> list, object? source)
    {
        if (source is not IList<T> other)
        {
            return false;
        }
        var added = new T[other.Count]; // taken out first: it may be the list itself
        other.CopyTo(added, 0);
        foreach (var item in added)
        {
            list.Add(item);
        }
        return true;
    }

    public static void Repeat<T>(ICollection<T> list, int count)
    {
        if (count <= 0)
        {
            list.Clear();
            return;
        }
        var once = new T[list.Count];
        list.CopyTo(once, 0);
        if ((long)once.Length * count > int.MaxValue)
        {
            throw new OutOfMemoryException("The repeated collection would be too long.");
        }
        for (var i = 1; i < count; i++)
        {
            foreach (var item in once)
            {
                list.Add(item);
            }
        }
    }

    /// <summary>Stores the elements of another collection of the same element type at start, start + step and so on;
    /// false leaves the work to the caller.</summary>
    public static bool SetItems<T>(IList<T> list, object? source, int start, int count, int step)
    {
        if (source is not IList<T> other || other.Count != count)
        {
            return false;
        }
        RequireRun(list, start, count, step);
        var items = new T[count];
        other.CopyTo(items, 0);
        for (var i = 0; i < count; i++)
        {
            list[start + i * step] = items[i];
        }
        return true;
    }

    /// <summary>Removes a run of elements, which the caller has turned so that it leads downward. Neighbors come with
    /// their lowest index where <paramref name="lowestFirst"/> is set, and with their highest elsewhere.</summary>
    public static void RemoveItems<T>(IList<T> list, int start, int count, int step, bool lowestFirst)
    {
        if (count <= 0)
        {
            return;
        }
        if (step == -1 && lowestFirst)
        {
            start += count - 1;
        }
        RequireRun(list, start, count, step);
        for (var i = 0; i < count; i++)
        {
            list.RemoveAt(start + i * step);
        }
    }

    public static void Reverse<T>(IList<T> list)
    {
        for (int low = 0, high = list.Count - 1; low < high; low++, high--)
        {
            (list[low], list[high]) = (list[high], list[low]);
        }
    }

    public static void Sort<T>(IList<T> list, bool descending)
    {
        if (list is not T[] && list.IsReadOnly)
        {
            throw new NotSupportedException("Collection is read-only.");
        }
        var items = new T[list.Count]; // sorted aside: a comparison that fails leaves all where it was
        list.CopyTo(items, 0);
        Array.Sort(items, Ordering<T>.Instance);
        if (descending)
        {
            Array.Reverse(items);
        }
        for (var i = 0; i < items.Length; i++)
        {
            list[i] = items[i];
        }
    }

    public static int IndexBy<T>(IList<T> list, bool hasStart, int start, bool hasStop, int stop, T item)
    {
        if (!hasStart && !hasStop && item is not byte[])
        {
            return list.IndexOf(item);
        }
        item = Sought(list, item);
        var first = hasStart ? Clamped(start, list.Count) : 0;
        var end = hasStop ? Clamped(stop, list.Count) : list.Count;
        for (var i = first; i < end && i < list.Count; i++)
        {
            if (AreEqual(list[i], item))
            {
                return i;
            }
        }
        return -1;
    }

    public static int CountOf<T>(IEnumerable<T> items, T item)
    {
        item = Sought(items, item);
        var count = 0;
        foreach (var each in items)
        {
            count += AreEqual(each, item) ? 1 : 0;
        }
        return count;
    }

    public static void EnsureCapacity<T>(List<T> list, int more) => list.EnsureCapacity(list.Count + Math.Max(0, more));

    public static void EnsureCapacity(ArrayList list, int more)
    {
        list.Capacity = Math.Max(list.Capacity, list.Count + Math.Max(0, more));
    }

    public static bool Contains<T>(IEnumerable<T> items, T item) => CountOf(items, item) > 0;

    /// <summary>Whether two elements are equal. Python has copies of byte arrays, which are equal by what they hold.
    /// </summary>
    internal static bool AreEqual<T>(T one, T other)
    {
        return EqualityComparer<T>.Default.Equals(one, other) ||
               (one is byte[] bytes && other is byte[] others && bytes.AsSpan().SequenceEqual(others));
    }

    /// <summary>A value as the elements have it, where the collection has no element type of its own.</summary>
    private static T Sought<T>(IEnumerable<T> items, T item)
    {
        return items is IAnyElements any ? (T)any.Sought(item)! : item;
    }

    private static int Clamped(int bound, int count) => Math.Clamp(bound < 0 ? bound + count : bound, 0, count);

    private static void RequireInRange<T>(IList<T> list, int index)
    {
        if ((uint)index >= (uint)list.Count)
        {
            throw new ArgumentOutOfRangeException(
                nameof(index), $"The index {index} is outside a collection of {list.Count} elements.");
        }
    }

    private static void RequireRun<T>(IList<T> list, int start, int count, int step)
    {
        var last = start + (long)(count - 1) * step;
        if (count > 0 && ((uint)start >= (uint)list.Count || last < 0 || last >= list.Count))
        {
            throw new ArgumentOutOfRangeException(
                nameof(start),
                $"The run from {start} of {count} elements by {step} leaves a collection of {list.Count} elements.");
        }
    }

    /// <summary>The order of elements: text by its units, everything else by its own order.</summary>
    private sealed class Ordering<T> : IComparer<T>
    {
        public static readonly Ordering<T> Instance = new();

        public int Compare(T? x, T? y)
        {
            return x is string a && y is string b ? string.CompareOrdinal(a, b) : Comparer<T>.Default.Compare(x, y);
        }
    }
}

/// <summary>Elements without a type, whose storage may have one.</summary>
internal interface IAnyElements
{
    /// <summary>A value that is looked for, as an element that is equal to it is stored.</summary>
    object? Sought(object? value);
}

/// <summary>A collection without an element type, as objects in a row.</summary>
public readonly struct AnyCollection : IEnumerable<object?>, IAnyElements
{
    private readonly ICollection _collection;

    public AnyCollection(ICollection collection)
    {
        _collection = collection;
    }

    public bool Contains(object? item)
    {
        if (_collection is IList list)
        {
            return new AnyList(list).Contains(item);
        }
        foreach (var each in _collection)
        {
            if (Sequences.AreEqual(each, item))
            {
                return true;
            }
        }
        return false;
    }

    public object? Sought(object? value) => _collection is IList list ? new AnyList(list).Sought(value) : value;

    public IEnumerator<object?> GetEnumerator()
    {
        foreach (var item in _collection)
        {
            yield return item;
        }
    }

    IEnumerator IEnumerable.GetEnumerator() => _collection.GetEnumerator();
}

/// <summary>A collection without an element type, as a list of objects: elements take the type of its storage.</summary>
public readonly struct AnyList : IList<object?>, IAnyElements
{
    private readonly IList _list;

    public AnyList(IList list)
    {
        _list = list;
    }

    public int Count => _list.Count;

    public bool IsReadOnly => _list.IsReadOnly;

    public object? this[int index]
    {
        get => _list[index];
        set => _list[index] = Fitted(value);
    }

    public void Add(object? item) => _list.Add(Fitted(item));

    public void Insert(int index, object? item) => _list.Insert(index, Fitted(item));

    public void RemoveAt(int index) => _list.RemoveAt(index);

    public void Clear() => _list.Clear();

    public bool Contains(object? item) => item is byte[] ? IndexOf(item) >= 0 : _list.Contains(Sought(item));

    public int IndexOf(object? item)
    {
        return item is byte[] ? Sequences.IndexBy(this, true, 0, false, 0, item) : _list.IndexOf(Sought(item));
    }

    public bool Remove(object? item)
    {
        var index = IndexOf(item);
        if (index >= 0)
        {
            _list.RemoveAt(index);
        }
        return index >= 0;
    }

    public void CopyTo(object?[] array, int index)
    {
        foreach (var item in _list)
        {
            array[index++] = item;
        }
    }

    public IEnumerator<object?> GetEnumerator()
    {
        foreach (var item in _list)
        {
            yield return item;
        }
    }

    IEnumerator IEnumerable.GetEnumerator() => _list.GetEnumerator();

    /// <summary>The type of the elements that the storage has; object where it takes anything.</summary>
    private Type ElementType()
    {
        var type = _list.GetType();
        if (type.IsArray)
        {
            return type.GetElementType()!;
        }
        return type.IsGenericType ? type.GetGenericArguments()[0] : typeof(object);
    }

    /// <summary>A value in the type of the elements: a Python number has no width, an enumeration comes as a number, and
    /// the values of the drawing module as those of the class library.</summary>
    private object? Fitted(object? value)
    {
        var type = ElementType();
        if (value == null || value.GetType() == type || !type.IsValueType)
        {
            return value == null && _list is Array && type.IsValueType ? throw WrongElement(null, type) : value;
        }
        var isWhole = value is sbyte or byte or short or ushort or int or uint or long or ulong;
        if (type.IsEnum && isWhole)
        {
            return Enum.ToObject(type, value);
        }
        if (type.IsPrimitive && (isWhole || type == typeof(float) || type == typeof(double)) &&
            value is IConvertible and not (string or bool or char or decimal))
        {
            return Convert.ChangeType(value, type, null);
        }
        if (SharedValues.TryConvert(value, type) is { } converted)
        {
            return converted;
        }
        return _list is Array ? throw WrongElement(value, type) : value;
    }

    private static InvalidCastException WrongElement(object? value, Type type)
    {
        return new InvalidCastException(
            $"Unable to cast object of type '{value?.GetType().FullName ?? "null"}' to type '{type.FullName}'.");
    }

    public object? Sought(object? value)
    {
        try
        {
            return Fitted(value);
        }
        catch (Exception e) when (e is OverflowException or InvalidCastException)
        {
            return value; // no element can be equal to it
        }
    }
}
