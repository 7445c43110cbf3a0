// Sizes in whole numbers.
using System.Globalization;

namespace Zelmor.Imaging;

public partial struct Size
{
    [Implements("ctor_000_Size")]
    public Size(Point point) : this(point.X, point.Y)
    {
    }

    [Implements("getsa_Empty")]
    public static Size Empty => default;

    [Implements("get_IsEmpty")]
    public readonly bool IsEmpty => Width == 0 && Height == 0;

    /// <summary>The same numbers as a size.</summary>
    public static implicit operator SizeF(Size size) => new(size.Width, size.Height);

    /// <summary>The same numbers as a point.</summary>
    public static explicit operator Point(Size size) => new(size.Width, size.Height);

    [Implements("call_000_Add")]
    public static Size Add(Size size1, Size size2) => new(size1.Width + size2.Width, size1.Height + size2.Height);

    [Implements("call_000_Subtract")]
    public static Size Subtract(Size size1, Size size2)
    {
        return new Size(size1.Width - size2.Width, size1.Height - size2.Height);
    }

    [Implements("call_000_Ceiling")]
    public static Size Ceiling(SizeF size) => new(Rounding.Ceiling(size.Width), Rounding.Ceiling(size.Height));

    [Implements("call_000_Truncate")]
    public static Size Truncate(SizeF size) => new(Rounding.Truncate(size.Width), Rounding.Truncate(size.Height));

    [Implements("call_000_Round")]
    public static Size Round(SizeF size) => new(Rounding.Round(size.Width), Rounding.Round(size.Height));

    [Implements("Equals")]
    public readonly bool Equals(Size other) => Width == other.Width && Height == other.Height;

    /// <inheritdoc/>
    public override readonly bool Equals(object? obj) => obj is Size other && Equals(other);

    /// <inheritdoc/>
    public override readonly int GetHashCode() => Hashing.Combine(Width, Height);

    /// <inheritdoc/>
    public override readonly string ToString()
    {
        return string.Create(CultureInfo.InvariantCulture, $"{{Width={Width}, Height={Height}}}");
    }
}
