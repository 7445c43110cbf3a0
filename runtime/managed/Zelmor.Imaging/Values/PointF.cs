// Points with coordinates of single precision.
using System.Globalization;

namespace Zelmor.Imaging;

public partial struct PointF
{
    [Implements("getsa_Empty")]
    public static PointF Empty => default;

    [Implements("get_IsEmpty")]
    public readonly bool IsEmpty => X == 0 && Y == 0;

    [Implements("call_000_Add")]
    public static PointF Add(PointF point, Size size) => new(point.X + size.Width, point.Y + size.Height);

    [Implements("call_001_Add")]
    public static PointF Add(PointF point, SizeF size) => new(point.X + size.Width, point.Y + size.Height);

    [Implements("call_000_Subtract")]
    public static PointF Subtract(PointF point, Size size) => new(point.X - size.Width, point.Y - size.Height);

    [Implements("call_001_Subtract")]
    public static PointF Subtract(PointF point, SizeF size) => new(point.X - size.Width, point.Y - size.Height);

    [Implements("call_000_AddSize")]
    public static PointF AddSize(PointF point, Size size) => Add(point, size);

    [Implements("call_000_SubtractSize")]
    public static PointF SubtractSize(PointF point, Size size) => Subtract(point, size);

    [Implements("call_000_AddSizeF")]
    public static PointF AddSizeF(PointF point, SizeF size) => Add(point, size);

    [Implements("call_000_SubtractSizeF")]
    public static PointF SubtractSizeF(PointF point, SizeF size) => Subtract(point, size);

    [Implements("Equals")]
    public readonly bool Equals(PointF other) => X == other.X && Y == other.Y;

    /// <inheritdoc/>
    public override readonly bool Equals(object? obj) => obj is PointF other && Equals(other);

    /// <inheritdoc/>
    public override readonly int GetHashCode() => Hashing.Combine(Hashing.Word(X), Hashing.Word(Y));

    /// <inheritdoc/>
    public override readonly string ToString() => string.Create(CultureInfo.InvariantCulture, $"{{X={X}, Y={Y}}}");
}
