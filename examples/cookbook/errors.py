"""Go on after bad files

Each error says what is wrong with which file. `decode` decodes all pixels at once, so that no damage shows later.
"""

from pathlib import Path

import zelmor

for path in sorted(Path("mixed").iterdir()):
    try:
        with zelmor.open(path, decode=True) as image:
            print(f"{path.name}: {type(image).__name__}, {image.width} x {image.height}")
    except zelmor.UnsupportedFormat:
        print(f"{path.name}: no picture")
    except zelmor.DamagedImage as error:
        print(f"{path.name}: damaged ({error.managed})")
    except OSError as error:
        print(f"{path.name}: {type(error).__name__}")
