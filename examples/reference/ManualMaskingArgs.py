from zelmor.imaging import Figure, GraphicsPath, RectangleF
from zelmor.imaging.masking.options import ManualMaskingArgs, MaskingOptions, SegmentationMethod
from zelmor.imaging.shapes import EllipseShape

figure = Figure()
figure.add_shape(EllipseShape(RectangleF(10.0, 10.0, 60.0, 60.0)))
known = ManualMaskingArgs()
known.mask = GraphicsPath([figure])
options = MaskingOptions()
options.method, options.args = SegmentationMethod.MANUAL, known
print(known.mask.bounds.width)
