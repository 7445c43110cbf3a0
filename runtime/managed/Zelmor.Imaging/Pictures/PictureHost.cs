// What the picture library uses of this program: streams, and memory for results.
//
// The library knows a stream by a number. It tells when it has no use for the stream any more.
using System;
using System.IO;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;

namespace Zelmor.Imaging;

internal static unsafe class PictureHost
{
    internal struct Table
    {
        public delegate* unmanaged<long, void*, int, int> Read;
        public delegate* unmanaged<long, void*, int, int> Write;
        public delegate* unmanaged<long, long, int, long> Seek;
        public delegate* unmanaged<long, long> Length;
        public delegate* unmanaged<long, long, int> SetLength;
        public delegate* unmanaged<long, int> Flush;
        public delegate* unmanaged<long, int> Close;
        public delegate* unmanaged<long, int, int> Can;
        public delegate* unmanaged<long, void> FreeStream;
        public delegate* unmanaged<int, void**, long> NewBytes;
        public delegate* unmanaged<long, void> FreeBytes;
        public delegate* unmanaged<PictureValue*, PictureValue*, void> Error;
    }

    // The texts of the last error, which the library copies at once.
    [ThreadStatic]
    private static char[]? s_name;
    [ThreadStatic]
    private static char[]? s_text;

    public static Table Functions()
    {
        return new Table
        {
            Read = &Read,
            Write = &Write,
            Seek = &Seek,
            Length = &Length,
            SetLength = &SetLength,
            Flush = &Flush,
            Close = &Close,
            Can = &Can,
            FreeStream = &Free,
            NewBytes = &NewBytes,
            FreeBytes = &Free,
            Error = &Error,
        };
    }

    /// <summary>The number of a stream.</summary>
    public static long Number(object item) => GCHandle.ToIntPtr(GCHandle.Alloc(item));

    /// <summary>What has the number.</summary>
    public static T Numbered<T>(long number) where T : class => (T)GCHandle.FromIntPtr((nint)number).Target!;

    /// <summary>The bytes of a result, which are no longer the library's.</summary>
    public static byte[] TakeBytes(long number)
    {
        var bytes = Numbered<byte[]>(number);
        GCHandle.FromIntPtr((nint)number).Free();
        return bytes;
    }

    private static T Asked<T>(long number, Func<Stream, T> ask, T failed)
    {
        try
        {
            return ask(Numbered<Stream>(number));
        }
        catch (Exception exception)
        {
            PictureErrors.Keep(exception);
            return failed;
        }
    }

    [UnmanagedCallersOnly]
    private static int Read(long number, void* data, int count)
    {
        return Asked(number, stream => stream.Read(new Span<byte>(data, count)), -1);
    }

    [UnmanagedCallersOnly]
    private static int Write(long number, void* data, int count)
    {
        return Asked(number, stream =>
        {
            stream.Write(new ReadOnlySpan<byte>(data, count));
            return 0;
        }, -1);
    }

    [UnmanagedCallersOnly]
    private static long Seek(long number, long offset, int origin)
    {
        return Asked(number, stream => origin == (int)System.IO.SeekOrigin.Current && offset == 0
            ? stream.Position : stream.Seek(offset, (System.IO.SeekOrigin)origin), -1L);
    }

    [UnmanagedCallersOnly]
    private static long Length(long number) => Asked(number, stream => stream.Length, -1L);

    [UnmanagedCallersOnly]
    private static int SetLength(long number, long length)
    {
        return Asked(number, stream =>
        {
            stream.SetLength(length);
            return 0;
        }, -1);
    }

    [UnmanagedCallersOnly]
    private static int Flush(long number)
    {
        return Asked(number, stream =>
        {
            stream.Flush();
            return 0;
        }, -1);
    }

    [UnmanagedCallersOnly]
    private static int Close(long number)
    {
        return Asked(number, stream =>
        {
            stream.Dispose();
            return 0;
        }, -1);
    }

    [UnmanagedCallersOnly]
    private static int Can(long number, int what)
    {
        return Asked(number, stream => (what switch
        {
            0 => stream.CanRead,
            1 => stream.CanWrite,
            _ => stream.CanSeek,
        }) ? 1 : 0, -1);
    }

    [UnmanagedCallersOnly]
    private static void Free(long number) => GCHandle.FromIntPtr((nint)number).Free();

    /// <summary>An array that stays where it is, so that a result is written into it and not copied.</summary>
    [UnmanagedCallersOnly]
    private static long NewBytes(int length, void** data)
    {
        try
        {
            var bytes = GC.AllocateUninitializedArray<byte>(length, pinned: true);
            *data = Unsafe.AsPointer(ref MemoryMarshal.GetArrayDataReference(bytes));
            return GCHandle.ToIntPtr(GCHandle.Alloc(bytes));
        }
        catch (OutOfMemoryException)
        {
            return -1;
        }
    }

    [UnmanagedCallersOnly]
    private static void Error(PictureValue* name, PictureValue* text)
    {
        var exception = PictureErrors.Kept;
        s_name = Kept(exception?.GetType().Name ?? "IOException", name);
        s_text = Kept(exception?.Message ?? "", text);
    }

    private static char[] Kept(string text, PictureValue* value)
    {
        var chars = GC.AllocateUninitializedArray<char>(Math.Max(1, text.Length), pinned: true);
        text.CopyTo(chars);
        *value = new PictureValue
        {
            Kind = PictureKind.Text,
            Data = Unsafe.AsPointer(ref MemoryMarshal.GetArrayDataReference(chars)),
            Length = text.Length,
        };
        return chars;
    }
}
