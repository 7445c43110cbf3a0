// Rectangles with whole coordinates: one contains its left and top edge, but not its right and bottom one.
using System;
using System.Globalization;

namespace Zelmor.Imaging;

public partial struct Rectangle
{
    [Implements("ctor_001_Rectangle")]
    public Rectangle(Point location, Size size) : this(location.X, location.Y, size.Width, size.Height)
    {
    }

    [Implements("getsa_Empty")]
    public static Rectangle Empty => default;

    [Implements("get_Location")]
    public Point Location
    {
        readonly get => new(X, Y);
        set => (X, Y) = (value.X, value.Y);
    }

    [Implements("get_Size")]
    public Size Size
    {
        readonly get => new(Width, Height);
        set => (Width, Height) = (value.Width, value.Height);
    }

    // Setting an edge moves that edge alone; the opposite one stays.
    [Implements("get_Left")]
    public int Left
    {
        readonly get => X;
        set => this = FromLeftTopRightBottom(value, Y, Right, Bottom);
    }

    [Implements("get_Top")]
    public int Top
    {
        readonly get => Y;
        set => this = FromLeftTopRightBottom(X, value, Right, Bottom);
    }

    [Implements("get_Right")]
    public int Right
    {
        readonly get => X + Width;
        set => Width = value - X;
    }

    [Implements("get_Bottom")]
    public int Bottom
    {
        readonly get => Y + Height;
        set => Height = value - Y;
    }

    [Implements("get_IsEmpty")]
    public readonly bool IsEmpty => Equals(default);

    /// <summary>The same numbers as a rectangle.</summary>
    public static implicit operator RectangleF(Rectangle r) => new(r.X, r.Y, r.Width, r.Height);

    [Implements("call_000_FromLeftTopRightBottom")]
    public static Rectangle FromLeftTopRightBottom(int left, int top, int right, int bottom)
    {
        return new Rectangle(left, top, right - left, bottom - top);
    }

    // The rectangle of two corners in any order.
    [Implements("call_000_FromPoints")]
    public static Rectangle FromPoints(Point point1, Point point2)
    {
        return FromLeftTopRightBottom(
            Math.Min(point1.X, point2.X), Math.Min(point1.Y, point2.Y), Math.Max(point1.X, point2.X),
            Math.Max(point1.Y, point2.Y));
    }

    [Implements("call_000_Ceiling")]
    public static Rectangle Ceiling(RectangleF value) => Rounded(value, Rounding.Ceiling);

    [Implements("call_000_Truncate")]
    public static Rectangle Truncate(RectangleF value) => Rounded(value, static number => Rounding.Truncate(number));

    [Implements("call_000_Round")]
    public static Rectangle Round(RectangleF value) => Rounded(value, Rounding.Round);

    [Implements("call_000_Inflate")]
    public static Rectangle Inflate(Rectangle rect, int x, int y)
    {
        return new Rectangle(rect.X - x, rect.Y - y, rect.Width + x + x, rect.Height + y + y);
    }

    [Implements("call_000_InflateRect")]
    public static Rectangle InflateRect(Rectangle rect, int x, int y) => Inflate(rect, x, y);

    [Implements("call_001_Inflate")]
    public void Inflate(Size size) => this = Inflate(this, size.Width, size.Height);

    [Implements("call_002_Inflate")]
    public void Inflate(int width, int height) => this = Inflate(this, width, height);

    [Implements("call_000_Intersect")]
    public static Rectangle Intersect(Rectangle a, Rectangle b)
    {
        int left = Math.Max(a.X, b.X), right = Math.Min(a.Right, b.Right);
        int top = Math.Max(a.Y, b.Y), bottom = Math.Min(a.Bottom, b.Bottom);
        return right >= left && bottom >= top ? FromLeftTopRightBottom(left, top, right, bottom) : default;
    }

    [Implements("call_000_IntersectRects")]
    public static Rectangle IntersectRects(Rectangle a, Rectangle b) => Intersect(a, b);

    [Implements("call_001_Intersect")]
    public void Intersect(Rectangle rect) => this = Intersect(this, rect);

    [Implements("call_000_Union")]
    public static Rectangle Union(Rectangle a, Rectangle b)
    {
        return FromLeftTopRightBottom(
            Math.Min(a.X, b.X), Math.Min(a.Y, b.Y), Math.Max(a.Right, b.Right), Math.Max(a.Bottom, b.Bottom));
    }

    [Implements("call_000_Offset")]
    public void Offset(Point pos) => Offset(pos.X, pos.Y);

    [Implements("call_001_Offset")]
    public void Offset(int x, int y)
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
    public readonly bool Contains(int x, int y) => X <= x && x < Right && Y <= y && y < Bottom;

    [Implements("call_001_Contains")]
    public readonly bool Contains(Point point) => Contains(point.X, point.Y);

    [Implements("call_002_Contains")]
    public readonly bool Contains(Rectangle rect)
    {
        return X <= rect.X && rect.Right <= Right && Y <= rect.Y && rect.Bottom <= Bottom;
    }

    [Implements("call_000_ContainsPoint")]
    public readonly bool ContainsPoint(Point point) => Contains(point);

    [Implements("call_000_ContainsRect")]
    public readonly bool ContainsRect(Rectangle rect) => Contains(rect);

    [Implements("call_000_IntersectsWith")]
    public readonly bool IntersectsWith(Rectangle rect)
    {
        return rect.X < Right && X < rect.Right && rect.Y < Bottom && Y < rect.Bottom;
    }

    [Implements("Equals")]
    public readonly bool Equals(Rectangle other)
    {
        return X == other.X && Y == other.Y && Width == other.Width && Height == other.Height;
    }

    /// <inheritdoc/>
    public override readonly bool Equals(object? obj) => obj is Rectangle other && Equals(other);

    /// <inheritdoc/>
    public override readonly int GetHashCode() => Hashing.Combine(X, Y, Width, Height);

    /// <inheritdoc/>
    public override readonly string ToString()
    {
        return string.Create(CultureInfo.InvariantCulture, $"{{X={X},Y={Y},Width={Width},Height={Height}}}");
    }

    private static Rectangle Rounded(RectangleF value, Func<float, int> rounded)
    {
        return new Rectangle(rounded(value.X), rounded(value.Y), rounded(value.Width), rounded(value.Height));
    }
}
