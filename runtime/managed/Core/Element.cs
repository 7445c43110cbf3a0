// How the elements of typed collections are read from Python lists and sequences.
//
// A module hands over a reader for each element type, by its position: one for lists and one for other sequences. The
// reader of a sequence also gives a reference that keeps the element alive while it is read.
using System;
using System.Runtime.InteropServices;

namespace Zelmor.WrpGen.Core;

/// <summary>Elements of type T in Python collections.</summary>
public abstract unsafe class Element<T>
{
    public abstract T Read(in VariantArg source, int index);
}

public static class Element
{
    /// <summary>Elements of any type.</summary>
    public static readonly Element<object?> Anything = new AnythingElement();

    /// <summary>The module, and the position among its readers, by which elements of any type come with a reference.
    /// </summary>
    internal static (BridgeModule Module, int Slot)? Reader { get; private set; }

    /// <summary>Says which module has a reader of elements of any type; its assembly does that when it is loaded.
    /// </summary>
    public static void ReadAnythingBy(BridgeModule module, int slot) => Reader = (module, slot);

    internal static string Reading(int index) => $"Reading element {index}";
}

/// <summary>The readers that a module hands over.</summary>
internal static class ElementReaders
{
    public const int Count = 57; // for lists, and as many for other sequences behind them
}

/// <summary>Elements that a typed reader of a module delivers in a boundary form F.</summary>
public abstract unsafe class TypedElement<T, F> : Element<T> where F : unmanaged
{
    private readonly BridgeModule _module;
    private readonly int _slot;

    protected TypedElement(BridgeModule module, int slot)
    {
        _module = module;
        _slot = slot;
    }

    protected abstract T Convert(F* form);

    protected virtual F Empty => default;

    /// <summary>An element of a type that becomes T without a loss, where the reader takes T alone.</summary>
    protected virtual bool Widened(in VariantArg source, int index, out T value)
    {
        value = default!;
        return false;
    }

    public override T Read(in VariantArg source, int index)
    {
        var form = Empty;
        nint owner = 0;
        var isList = source.Tag == HandleTag.PyObject;
        var reader = *_module.Elements[isList ? _slot : _slot + ElementReaders.Count];
        var status = isList
            ? ((delegate* unmanaged<nint, int, F*, int>)reader)(source.Value, index, &form)
            : ((delegate* unmanaged<nint, int, nint*, F*, int>)reader)(source.Value, index, &owner, &form);
        if (status < 0)
        {
            var failed = Python.FailedAccess(status, Element.Reading(index));
            return Widened(source, index, out var value) ? value : throw failed;
        }
        try
        {
            return Convert(&form);
        }
        finally
        {
            if (owner != 0)
            {
                Python.DecRef(owner);
            }
        }
    }
}

/// <summary>Numbers, which cross as they are.</summary>
public sealed unsafe class NumberElement<T> : TypedElement<T, T> where T : unmanaged
{
    public NumberElement(BridgeModule module, int slot) : base(module, slot)
    {
    }

    protected override T Convert(T* form) => *form;
}

/// <summary>Enumerations, which cross in 32 bits whatever their width is.</summary>
public sealed unsafe class EnumElement<T> : TypedElement<T, int> where T : struct, Enum
{
    public EnumElement(BridgeModule module, int slot) : base(module, slot)
    {
    }

    protected override T Convert(int* form) => (T)Enum.ToObject(typeof(T), *form);
}

public sealed unsafe class TextElement : TypedElement<string, PyStringArg>
{
    public TextElement(BridgeModule module, int slot) : base(module, slot)
    {
    }

    protected override PyStringArg Empty => new() { Length = -1 };

    protected override string Convert(PyStringArg* form) => Arguments.Text(form)!;
}

public sealed unsafe class InstanceElement<T> : TypedElement<T, nint> where T : class
{
    public InstanceElement(BridgeModule module, int slot) : base(module, slot)
    {
    }

    protected override T Convert(nint* form) => Handles.Argument<T>(*form)!;
}

public sealed unsafe class StructElement<T> : TypedElement<T, VariantArg> where T : struct
{
    public StructElement(BridgeModule module, int slot) : base(module, slot)
    {
    }

    protected override T Convert(VariantArg* form) => Arguments.Struct<T>(form);

    /// <summary>Python cannot tell overloads apart that take lists: one of points comes where the overload that is tried
    /// first takes points with fractions.</summary>
    protected override bool Widened(in VariantArg source, int index, out T value)
    {
        value = default;
        if (!SharedValues.IsWidened(typeof(T)))
        {
            return false;
        }
        object? read;
        try
        {
            read = Element.Anything.Read(source, index);
        }
        catch (PythonException)
        {
            return false; // what it is not says the first failure
        }
        if (read == null || SharedValues.TryWiden(read, typeof(T)) is not T widened)
        {
            return false;
        }
        value = widened;
        return true;
    }
}

public sealed unsafe class InterfaceElement<T> : TypedElement<T, VariantArg> where T : class
{
    public InterfaceElement(BridgeModule module, int slot) : base(module, slot)
    {
    }

    protected override T Convert(VariantArg* form) => Arguments.Instance<T>(form)!;
}

public sealed unsafe class ArrayElement<T> : TypedElement<T[], VariantArg>
{
    private readonly Element<T> _inner;

    public ArrayElement(BridgeModule module, int slot, Element<T> inner) : base(module, slot)
    {
        _inner = inner;
    }

    protected override T[] Convert(VariantArg* form)
    {
        // Reading the inner list may run code that takes it out of the outer one, which only lends it.
        var isPython = form->Tag > HandleTag.Struct;
        if (isPython)
        {
            Python.IncRef(form->Value);
        }
        try
        {
            return Arguments.Array(form, _inner)!;
        }
        finally
        {
            if (isPython)
            {
                Python.DecRef(form->Value);
            }
        }
    }
}

/// <summary>Byte arrays, whose memory is locked while it is copied.</summary>
public sealed unsafe class BytesElement : Element<byte[]>
{
    private readonly BridgeModule _module;
    private readonly int _slot;

    public BytesElement(BridgeModule module, int slot)
    {
        _module = module;
        _slot = slot;
    }

    public override byte[] Read(in VariantArg source, int index)
    {
        var record = NativeMemory.Alloc(Python.Buffers->GetSize());
        Python.Buffers->Create(record);
        nint owner = 0;
        var view = new PyBytesArg { Length = -1 };
        try
        {
            var isList = source.Tag == HandleTag.PyObject;
            var reader = *_module.Elements[isList ? _slot : _slot + ElementReaders.Count];
            var status = isList
                ? ((delegate* unmanaged<nint, int, PyBytesArg*, void*, int>)reader)(
                    source.Value, index, &view, record)
                : ((delegate* unmanaged<nint, int, nint*, PyBytesArg*, void*, int>)reader)(
                    source.Value, index, &owner, &view, record);
            return status < 0
                ? throw Python.FailedAccess(status, Element.Reading(index)) : Arguments.Bytes(&view)!;
        }
        finally
        {
            if (view.Acquired != 0)
            {
                Python.Buffers->Release(record);
            }
            if (owner != 0)
            {
                Python.DecRef(owner);
            }
            NativeMemory.Free(record);
        }
    }
}

/// <summary>Elements of any type.</summary>
public sealed unsafe class AnythingElement : Element<object?>
{
    public override object? Read(in VariantArg source, int index)
    {
        var isList = source.Tag == HandleTag.PyObject;
        if (!isList && Element.Reader is { Module.Elements: not null } reader)
        {
            return ReadWith(reader.Module.Elements[reader.Slot + ElementReaders.Count], source.Value, index);
        }
        VariantArg element = default;
        var status = isList
            ? Python.Lists->GetItem(source.Value, index, &element)
            : Python.Sequences->GetItem(source.Value, index, &element);
        if (status < 0)
        {
            throw Python.FailedAccess(status, Element.Reading(index));
        }
        // A list lends its element, and reading it may run code that takes it out of the list. The element of a
        // sequence comes with a reference; behind a handle there is no Python object to give it back to, so that
        // this is the way only where no module has a better one.
        var tag = (VariantTag)element.Tag;
        var owner = tag == VariantTag.Null || tag >= VariantTag.String ? element.Value : 0;
        if (owner != 0 && isList)
        {
            Python.IncRef(owner);
        }
        try
        {
            return Arguments.Anything(&element);
        }
        finally
        {
            if (owner != 0)
            {
                Python.DecRef(owner);
            }
        }
    }

    private static object? ReadWith(void** reader, nint sequence, int index)
    {
        nint owner = 0;
        VariantArg element = default;
        var status = ((delegate* unmanaged<nint, int, nint*, VariantArg*, int>)*reader)(
            sequence, index, &owner, &element);
        if (status < 0)
        {
            throw Python.FailedAccess(status, Element.Reading(index));
        }
        try
        {
            return Arguments.Anything(&element);
        }
        finally
        {
            Python.DecRef(owner);
        }
    }
}
