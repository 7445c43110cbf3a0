// Arrays and lists of .NET that stand for lists which objects of the picture library keep.
//
// The library has the elements; the array or list of .NET is a copy, and the same one for the same list as long as
// somebody holds it. A change that is announced by Changed() is made in the library's list at once, and each result
// brings what has changed there.
using System;
using System.Collections;
using System.Collections.Generic;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;

namespace Zelmor.Imaging;

/// <summary>Where changes of lists are announced.</summary>
public static unsafe class PictureLists
{
    private static readonly ConditionalWeakTable<object, PictureAnchor> s_standing = new();

    /// <summary>Says that an array or a list was changed: at an index, or in any way where that is negative.</summary>
    public static void Changed(object? list, int index)
    {
        if (list is not IList items || Of(list) is not { } anchor)
        {
            return;
        }
        using var passed = new PictureArguments();
        PictureValue value;
        var what = PictureChange.Set;
        if (index >= 0 && index < items.Count)
        {
            passed.Set(items[index], out value);
        }
        else
        {
            passed.SetElements(items, out value);
            what = PictureChange.Replace;
        }
        PictureHandle.ReleaseEnded();
        Pictures.Check(PictureLibrary.Change(Pictures.HandleOf(anchor), (int)what, index, &value), anchor);
    }

    /// <summary>What the library has for an array or a list; null where it keeps none.</summary>
    internal static PictureAnchor? Of(object list) => s_standing.TryGetValue(list, out var anchor) ? anchor : null;

    /// <summary>Whether a collection is an array or a list of .NET itself.</summary>
    internal static bool IsOwn(object items)
    {
        var type = items.GetType();
        return items is Array || type == typeof(ArrayList) ||
               (type.IsGenericType && type.GetGenericTypeDefinition() == typeof(List<>));
    }

    /// <summary>An argument became a list that an object of the library keeps, or one that the call has changed.
    /// </summary>
    internal static void TakeBack(object argument, in PictureValue list)
    {
        var handle = (nint)list.Word;
        var isKept = list.Detail == (int)PictureObjectKind.List;
        if (list.Detail == (int)PictureObjectKind.ChangedList)
        {
            isKept = Refresh((IList)argument, handle);
        }
        if (isKept && IsOwn(argument) && Of(argument) == null)
        {
            Stand(argument, list);
        }
        else
        {
            PictureLibrary.Release(handle);
        }
    }

    /// <summary>Lets an array or a list stand for one that a call has kept, or has given.</summary>
    internal static void Stand(object list, in PictureValue given)
    {
        var anchor = new PictureAnchor(given);
        s_standing.AddOrUpdate(list, anchor);
        PictureHandle.Know(given.Length, list);
    }

    /// <summary>The array or list for one of a result, with the elements that it has now.</summary>
    internal static object Shown(in PictureValue value, Type type)
    {
        if (PictureHandle.Known(value) is { } known && type.IsInstanceOfType(known) && Of(known) is { } anchor)
        {
            Refresh((IList)known, Pictures.HandleOf(anchor));
            GC.KeepAlive(anchor);
            return known;
        }
        var made = PictureResults.List(value, type, out var isShared);
        if (isShared)
        {
            Stand(made, value);
        }
        else
        {
            PictureLibrary.Release((nint)value.Word);
        }
        return made;
    }

    /// <summary>Takes over what has changed, and tells whether an object keeps the list. A list that has not changed is
    /// left alone, since somebody may iterate over it.</summary>
    private static bool Refresh(IList list, nint handle)
    {
        var now = (IList)PictureResults.List(new PictureValue { Word = handle }, list.GetType(), out var isKept);
        if (list is Array array)
        {
            if (array.Length == now.Count)
            {
                Array.Copy((Array)now, array, array.Length);
            }
            return isKept;
        }
        var isSame = list.Count == now.Count;
        for (var i = 0; isSame && i < now.Count; i++)
        {
            isSame = Equals(list[i], now[i]);
        }
        if (!isSame)
        {
            list.Clear();
            foreach (var item in now)
            {
                list.Add(item);
            }
        }
        return isKept;
    }
}
