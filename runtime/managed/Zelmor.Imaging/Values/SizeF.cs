// Sizes in single precision.
using System.Globalization;

namespace Zelmor.Imaging;

public partial struct SizeF
{
    [Implements("ctor_000_SizeF")]
    public SizeF(SizeF size) : this(size.Width, size.Height)
    {
    }

    [Implements("ctor_001_SizeF")]
    public SizeF(PointF point) : this(point.X, point.Y)
    {
    }

    [Implements("getsa_Empty")]
    public static SizeF Empty => default;

    [Implements("get_IsEmpty")]
    public readonly bool IsEmpty => Width == 0 && Height == 0;

    /// <summary>The same numbers as a point.</summary>
    public static explicit operator PointF(SizeF size) => new(size.Width, size.Height);

    [Implements("call_000_Add")]
    public static SizeF Add(SizeF size1, SizeF size2) => new(size1.Width + size2.Width, size1.Height + size2.Height);

    [Implements("call_000_Subtract")]
    public static SizeF Subtract(SizeF size1, SizeF size2)
    {
        return new SizeF(size1.Width - size2.Width, size1.Height - size2.Height);
    }

    [Implements("call_000_ToPointF")]
    public readonly PointF ToPointF() => new(Width, Height);

    [Implements("call_000_ToSize")]
    public readonly Size ToSize() => Size.Truncate(this);

    [Implements("Equals")]
    public readonly bool Equals(SizeF other) => Width == other.Width && Height == other.Height;

    /// <inheritdoc/>
    public override readonly bool Equals(object? obj) => obj is SizeF other && Equals(other);

    /// <inheritdoc/>
    public override readonly int GetHashCode() => Hashing.Combine(Hashing.Word(Width), Hashing.Word(Height));

    /// <inheritdoc/>
    public override readonly string ToString()
    {
        return string.Create(CultureInfo.InvariantCulture, $"{{Width={Width}, Height={Height}}}");
    }
}
