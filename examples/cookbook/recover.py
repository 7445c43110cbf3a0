"""Save what is left of a damaged file

With a recovery mode, the complete rows are kept, and the rest gets a color.
"""

import zelmor
from zelmor.imaging import Color, DataRecoveryMode
from zelmor.imaging.imageoptions import PngOptions

with zelmor.open("cut_off.png", data_recovery_mode=DataRecoveryMode.CONSISTENT_RECOVER,
                 data_background_color=Color.gray) as image:
    image.save("recovered.png", PngOptions())
