// Rectangles with coordinates of single precision: one contains its left and top edge, but not its right and bottom one.
using System;
using System.Globalization;

namespace Zelmor.Imaging;

public partial struct RectangleF
{
    [Implements("ctor_001_RectangleF")]
    public RectangleF(PointF location, SizeF size) : this(location.X, location.Y, size.Width, size.Height)
    {
    }

    [Implements("getsa_Empty")]
    public static RectangleF Empty => default;

    [Implements("get_Location")]
    public PointF Location
    {
        readonly get => new(X, Y);
        set => (X, Y) = (value.X, value.Y);
    }

    [Implements("get_Size")]
    public SizeF Size
    {
        readonly get => new(Width, Height);
        set => (Width, Height) = (value.Width, value.Height);
    }

    // Setting an edge moves that edge alone; the opposite one stays.
    [Implements("get_Left")]
    public float Left
    {
        readonly get => X;
        set => this = FromLeftTopRightBottom(value, Y, Right, Bottom);
    }

    [Implements("get_Top")]
    public float Top
    {
        readonly get => Y;
        set => this = FromLeftTopRightBottom(X, value, Right, Bottom);
    }

    [Implements("get_Right")]
    public float Right
    {
        readonly get => X + Width;
        set => Width = value - X;
    }

    [Implements("get_Bottom")]
    public float Bottom
    {
        readonly get => Y + Height;
        set => Height = value - Y;
    }

    [Implements("get_IsEmpty")]
    public readonly bool IsEmpty => Width <= 0 || Height <= 0;

    [Implements("call_000_FromLeftTopRightBottom")]
    public static RectangleF FromLeftTopRightBottom(float left, float top, float right, float bottom)
    {
        return new RectangleF(left, top, right - left, bottom - top);
    }

    // The rectangle of two corners in any order.
    [Implements("call_000_FromPoints")]
    public static RectangleF FromPoints(PointF point1, PointF point2)
    {
        return FromLeftTopRightBottom(
            Math.Min(point1.X, point2.X), Math.Min(point1.Y, point2.Y), Math.Max(point1.X, point2.X),
            Math.Max(point1.Y, point2.Y));
    }

    [Implements("call_000_Inflate")]
    public static RectangleF Inflate(RectangleF rect, float x, float y)
    {
        return new RectangleF(rect.X - x, rect.Y - y, rect.Width + 2 * x, rect.Height + 2 * y);
    }

    [Implements("call_000_InflateRect")]
    public static RectangleF InflateRect(RectangleF rect, float x, float y) => Inflate(rect, x, y);

    [Implements("call_001_Inflate")]
    public void Inflate(SizeF size) => this = Inflate(this, size.Width, size.Height);

    [Implements("call_002_Inflate")]
    public void Inflate(float x, float y) => this = Inflate(this, x, y);

    [Implements("call_000_Intersect")]
    public static RectangleF Intersect(RectangleF a, RectangleF b)
    {
        float left = Math.Max(a.X, b.X), right = Math.Min(a.Right, b.Right);
        float top = Math.Max(a.Y, b.Y), bottom = Math.Min(a.Bottom, b.Bottom);
        return right >= left && bottom >= top ? FromLeftTopRightBottom(left, top, right, bottom) : default;
    }

    [Implements("call_000_IntersectRects")]
    public static RectangleF IntersectRects(RectangleF a, RectangleF b) => Intersect(a, b);

    [Implements("call_001_Intersect")]
    public void Intersect(RectangleF rect) => this = Intersect(this, rect);

    [Implements("call_000_Union")]
    public static RectangleF Union(RectangleF a, RectangleF b)
    {
        return FromLeftTopRightBottom(
            Math.Min(a.X, b.X), Math.Min(a.Y, b.Y), Math.Max(a.Right, b.Right), Math.Max(a.Bottom, b.Bottom));
    }

    [Implements("call_000_Offset")]
    public void Offset(PointF pos) => Offset(pos.X, pos.Y);

    [Implements("call_001_Offset")]
    public void Offset(float x, float y)
    {
        X += x;
        Y += y;
    }

    // Makes a negative width or height a positive one of the same area.
    [Implements("call_000_Normalize")]
    public void Normalize()
    {
        if (Width < 0)
        {
            X = Right;
            Width = -Width;
        }
        if (Height < 0)
        {
            Y = Bottom;
            Height = -Height;
        }
    }

    [Implements("call_000_Contains")]
    public readonly bool Contains(float x, float y) => X <= x && x < Right && Y <= y && y < Bottom;

    [Implements("call_001_Contains")]
    public readonly bool Contains(PointF point) => Contains(point.X, point.Y);

    [Implements("call_002_Contains")]
    public readonly bool Contains(RectangleF rect)
    {
        return X <= rect.X && rect.Right <= Right && Y <= rect.Y && rect.Bottom <= Bottom;
    }

    [Implements("call_000_ContainsPointF")]
    public readonly bool ContainsPointF(PointF point) => Contains(point);

    [Implements("call_000_ContainsRectF")]
    public readonly bool ContainsRectF(RectangleF rect) => Contains(rect);

    [Implements("call_000_IntersectsWith")]
    public readonly bool IntersectsWith(RectangleF rect)
    {
        return rect.X < Right && X < rect.Right && rect.Y < Bottom && Y < rect.Bottom;
    }

    [Implements("Equals")]
    public readonly bool Equals(RectangleF other)
    {
        return X == other.X && Y == other.Y && Width == other.Width && Height == other.Height;
    }

    /// <inheritdoc/>
    public override readonly bool Equals(object? obj) => obj is RectangleF other && Equals(other);

    /// <inheritdoc/>
    public override readonly int GetHashCode() => Hashing.Combine(
        Hashing.Word(X), Hashing.Word(Y), Hashing.Word(Width), Hashing.Word(Height));

    /// <inheritdoc/>
    public override readonly string ToString()
    {
        return string.Create(CultureInfo.InvariantCulture, $"{{X={X},Y={Y},Width={Width},Height={Height}}}");
    }
}
