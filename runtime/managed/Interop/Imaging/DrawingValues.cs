// The values that the drawing module has in types of .NET and the class library in types of its own, and those that
// become values with fractions.
using System.Runtime.CompilerServices;
using Zelmor.WrpGen.Core;

namespace Zelmor.WrpGen.Interop;

internal static class DrawingValues
{
    [ModuleInitializer]
    internal static void Register()
    {
        SharedValues.Register<System.Drawing.PointF, Zelmor.Imaging.PointF>(
            point => new Zelmor.Imaging.PointF(point.X, point.Y), point => new System.Drawing.PointF(point.X, point.Y));
        SharedValues.Register<System.Drawing.Color, Zelmor.Imaging.Color>(
            Zelmor.Imaging.Color.FromDrawing, color => color.ToDrawing());
        SharedValues.RegisterWidening<Zelmor.Imaging.Point, Zelmor.Imaging.PointF>(point => point);
        SharedValues.RegisterWidening<Zelmor.Imaging.Rectangle, Zelmor.Imaging.RectangleF>(area => area);
    }
}
