"""Colors of print for the screen

Pictures for print have four inks. Saved as PNG, the inks become colors of the screen by the color profile of the
file, or by a profile of offset print if it has none.
"""

import zelmor

with zelmor.open("print.jpg") as image:
    image.save("screen.png")
