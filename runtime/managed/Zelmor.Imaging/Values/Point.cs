// Points with whole coordinates.
using System.Globalization;

namespace Zelmor.Imaging;

public partial struct Point
{
    [Implements("ctor_001_Point")]
    public Point(Size size) : this(size.Width, size.Height)
    {
    }

    // A double word holds x in its low and y in its high half, both signed.
    [Implements("ctor_002_Point")]
    public Point(int dw) : this((short)dw, (short)(dw >> 16))
    {
    }

    [Implements("getsa_Empty")]
    public static Point Empty => default;

    [Implements("get_IsEmpty")]
    public readonly bool IsEmpty => X == 0 && Y == 0;

    /// <summary>The same numbers as a point.</summary>
    public static implicit operator PointF(Point point) => new(point.X, point.Y);

    /// <summary>The same numbers as a size.</summary>
    public static explicit operator Size(Point point) => new(point.X, point.Y);

    [Implements("call_000_Add")]
    public static Point Add(Point point, Size size) => new(point.X + size.Width, point.Y + size.Height);

    [Implements("call_000_Subtract")]
    public static Point Subtract(Point point, Size size) => new(point.X - size.Width, point.Y - size.Height);

    [Implements("call_000_Ceiling")]
    public static Point Ceiling(PointF point) => new(Rounding.Ceiling(point.X), Rounding.Ceiling(point.Y));

    [Implements("call_000_Round")]
    public static Point Round(PointF point) => new(Rounding.Round(point.X), Rounding.Round(point.Y));

    [Implements("call_000_Truncate")]
    public static Point Truncate(PointF point) => new(Rounding.Truncate(point.X), Rounding.Truncate(point.Y));

    // A long holds x in its low and y in its high half. Both are delivered; x is the result as well.
    [Implements("call_000_FromLong")]
    public static int FromLong(long packedPoint, ref int x, ref int y)
    {
        x = (int)packedPoint;
        y = (int)(packedPoint >> 32);
        return x;
    }

    [Implements("call_000_ToLong")]
    public readonly long ToLong() => (long)Y << 32 | (uint)X;

    [Implements("call_000_Offset")]
    public void Offset(Point point) => Offset(point.X, point.Y);

    [Implements("call_001_Offset")]
    public void Offset(int dx, int dy)
    {
        X += dx;
        Y += dy;
    }

    [Implements("Equals")]
    public readonly bool Equals(Point other) => X == other.X && Y == other.Y;

    /// <inheritdoc/>
    public override readonly bool Equals(object? obj) => obj is Point other && Equals(other);

    /// <inheritdoc/>
    public override readonly int GetHashCode() => Hashing.Combine(X, Y);

    /// <inheritdoc/>
    public override readonly string ToString() => string.Create(CultureInfo.InvariantCulture, $"{{X={X},Y={Y}}}");
}
