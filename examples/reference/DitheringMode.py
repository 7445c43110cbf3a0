from zelmor.imaging import DitheringMethod
from zelmor.imaging.dithering import DitheringMode

mode = DitheringMode()
mode.method, mode.bits = DitheringMethod.FLOYD_STEINBERG_DITHERING, 4
print(mode.method, mode.bits)
