// Points in double precision, as files of drawings have them.
namespace Zelmor.Imaging.FileFormats.Cdr.Types;

public partial struct PointD
{
    [Implements("call_000_ToPointF")]
    public readonly PointF ToPointF() => new((float)X, (float)Y);

    [Implements("call_000_FromPointF")]
    public void FromPointF(PointF point) => (X, Y) = (point.X, point.Y);
}
