// Python lists and sequences as arrays: what a parameter gets that names a class of collections.
using System;

namespace Zelmor.WrpGen.Core;

public static unsafe class PythonElements
{
    private const int DeepestNesting = 100;

    [ThreadStatic]
    private static int s_depth; // of lists within lists; one that holds itself would never end

    internal static int Length(in VariantArg source)
    {
        var length = source.Tag == HandleTag.PyObject
            ? Python.Collections->ListLongLength(source.Value)
            : Python.Collections->SequenceLongLength(source.Value);
        if (length < 0)
        {
            throw Python.Failed("Reading the length of the sequence");
        }
        return length <= int.MaxValue
            ? (int)length : throw new OverflowException("The sequence has too many elements.");
    }

    public static T[] ToArray<T>(in VariantArg source, Element<T> element)
    {
        if (s_depth >= DeepestNesting)
        {
            throw new ArgumentException("The list is nested too deeply, or holds itself.");
        }
        s_depth++;
        try
        {
            var items = new T[Length(source)];
            for (var i = 0; i < items.Length; i++)
            {
                items[i] = element.Read(source, i);
            }
            return items;
        }
        finally
        {
            s_depth--;
        }
    }
}
