# The value types of the drawing module: they hold their numbers themselves, and no managed object.
from collections.abc import Iterator
from typing import ClassVar, final, overload

@final
class Color:
    """A color, read-only. Made by from_argb and from_name, or taken from the named ones."""
    def __new__(cls) -> Color: ...
    @overload
    @staticmethod
    def from_argb(argb: int) -> Color:
        """The components of 0xAARRGGBB, or of the signed integer of the same bits."""
    @overload
    @staticmethod
    def from_argb(alpha: int, base_color: Color) -> Color: ...
    @overload
    @staticmethod
    def from_argb(red: int, green: int, blue: int) -> Color: ...
    @overload
    @staticmethod
    def from_argb(alpha: int, red: int, green: int, blue: int) -> Color: ...
    @staticmethod
    def from_name(name: str, /) -> Color:
        """A web color, in any case."""
    def to_argb(self) -> int:
        """The four components as a signed 32-bit integer."""
    def get_brightness(self) -> float:
        """0 to 1."""
    def get_hue(self) -> float:
        """Degrees from 0 to 360."""
    def get_saturation(self) -> float:
        """0 to 1."""
    @staticmethod
    def _restore(argb: int, number: int, state: int, /) -> Color: ...
    @property
    def a(self) -> int: ...
    @property
    def r(self) -> int: ...
    @property
    def g(self) -> int: ...
    @property
    def b(self) -> int: ...
    @property
    def name(self) -> str: ...
    @property
    def is_empty(self) -> bool: ...
    @property
    def is_known_color(self) -> bool: ...
    @property
    def is_named_color(self) -> bool: ...
    @property
    def is_system_color(self) -> bool: ...
    empty: ClassVar[Color]
    transparent: ClassVar[Color]
    alice_blue: ClassVar[Color]
    antique_white: ClassVar[Color]
    aqua: ClassVar[Color]
    aquamarine: ClassVar[Color]
    azure: ClassVar[Color]
    beige: ClassVar[Color]
    bisque: ClassVar[Color]
    black: ClassVar[Color]
    blanched_almond: ClassVar[Color]
    blue: ClassVar[Color]
    blue_violet: ClassVar[Color]
    brown: ClassVar[Color]
    burly_wood: ClassVar[Color]
    cadet_blue: ClassVar[Color]
    chartreuse: ClassVar[Color]
    chocolate: ClassVar[Color]
    coral: ClassVar[Color]
    cornflower_blue: ClassVar[Color]
    cornsilk: ClassVar[Color]
    crimson: ClassVar[Color]
    cyan: ClassVar[Color]
    dark_blue: ClassVar[Color]
    dark_cyan: ClassVar[Color]
    dark_goldenrod: ClassVar[Color]
    dark_gray: ClassVar[Color]
    dark_green: ClassVar[Color]
    dark_khaki: ClassVar[Color]
    dark_magenta: ClassVar[Color]
    dark_olive_green: ClassVar[Color]
    dark_orange: ClassVar[Color]
    dark_orchid: ClassVar[Color]
    dark_red: ClassVar[Color]
    dark_salmon: ClassVar[Color]
    dark_sea_green: ClassVar[Color]
    dark_slate_blue: ClassVar[Color]
    dark_slate_gray: ClassVar[Color]
    dark_turquoise: ClassVar[Color]
    dark_violet: ClassVar[Color]
    deep_pink: ClassVar[Color]
    deep_sky_blue: ClassVar[Color]
    dim_gray: ClassVar[Color]
    dodger_blue: ClassVar[Color]
    firebrick: ClassVar[Color]
    floral_white: ClassVar[Color]
    forest_green: ClassVar[Color]
    fuchsia: ClassVar[Color]
    gainsboro: ClassVar[Color]
    ghost_white: ClassVar[Color]
    gold: ClassVar[Color]
    goldenrod: ClassVar[Color]
    gray: ClassVar[Color]
    green: ClassVar[Color]
    green_yellow: ClassVar[Color]
    honeydew: ClassVar[Color]
    hot_pink: ClassVar[Color]
    indian_red: ClassVar[Color]
    indigo: ClassVar[Color]
    ivory: ClassVar[Color]
    khaki: ClassVar[Color]
    lavender: ClassVar[Color]
    lavender_blush: ClassVar[Color]
    lawn_green: ClassVar[Color]
    lemon_chiffon: ClassVar[Color]
    light_blue: ClassVar[Color]
    light_coral: ClassVar[Color]
    light_cyan: ClassVar[Color]
    light_goldenrod_yellow: ClassVar[Color]
    light_gray: ClassVar[Color]
    light_green: ClassVar[Color]
    light_pink: ClassVar[Color]
    light_salmon: ClassVar[Color]
    light_sea_green: ClassVar[Color]
    light_sky_blue: ClassVar[Color]
    light_slate_gray: ClassVar[Color]
    light_steel_blue: ClassVar[Color]
    light_yellow: ClassVar[Color]
    lime: ClassVar[Color]
    lime_green: ClassVar[Color]
    linen: ClassVar[Color]
    magenta: ClassVar[Color]
    maroon: ClassVar[Color]
    medium_aquamarine: ClassVar[Color]
    medium_blue: ClassVar[Color]
    medium_orchid: ClassVar[Color]
    medium_purple: ClassVar[Color]
    medium_sea_green: ClassVar[Color]
    medium_slate_blue: ClassVar[Color]
    medium_spring_green: ClassVar[Color]
    medium_turquoise: ClassVar[Color]
    medium_violet_red: ClassVar[Color]
    midnight_blue: ClassVar[Color]
    mint_cream: ClassVar[Color]
    misty_rose: ClassVar[Color]
    moccasin: ClassVar[Color]
    navajo_white: ClassVar[Color]
    navy: ClassVar[Color]
    old_lace: ClassVar[Color]
    olive: ClassVar[Color]
    olive_drab: ClassVar[Color]
    orange: ClassVar[Color]
    orange_red: ClassVar[Color]
    orchid: ClassVar[Color]
    pale_goldenrod: ClassVar[Color]
    pale_green: ClassVar[Color]
    pale_turquoise: ClassVar[Color]
    pale_violet_red: ClassVar[Color]
    papaya_whip: ClassVar[Color]
    peach_puff: ClassVar[Color]
    peru: ClassVar[Color]
    pink: ClassVar[Color]
    plum: ClassVar[Color]
    powder_blue: ClassVar[Color]
    purple: ClassVar[Color]
    red: ClassVar[Color]
    rosy_brown: ClassVar[Color]
    royal_blue: ClassVar[Color]
    saddle_brown: ClassVar[Color]
    salmon: ClassVar[Color]
    sandy_brown: ClassVar[Color]
    sea_green: ClassVar[Color]
    sea_shell: ClassVar[Color]
    sienna: ClassVar[Color]
    silver: ClassVar[Color]
    sky_blue: ClassVar[Color]
    slate_blue: ClassVar[Color]
    slate_gray: ClassVar[Color]
    snow: ClassVar[Color]
    spring_green: ClassVar[Color]
    steel_blue: ClassVar[Color]
    tan: ClassVar[Color]
    teal: ClassVar[Color]
    thistle: ClassVar[Color]
    tomato: ClassVar[Color]
    turquoise: ClassVar[Color]
    violet: ClassVar[Color]
    wheat: ClassVar[Color]
    white: ClassVar[Color]
    white_smoke: ClassVar[Color]
    yellow: ClassVar[Color]
    yellow_green: ClassVar[Color]

@final
class PointF:
    """A value of 2 numbers, read-only."""
    empty: ClassVar[PointF]
    @overload
    def __new__(cls) -> PointF: ...
    @overload
    def __new__(cls, x: float, y: float) -> PointF: ...
    @property
    def x(self) -> float: ...
    @property
    def y(self) -> float: ...
    @property
    def is_empty(self) -> bool:
        """Whether all numbers are zero."""
    def __iter__(self) -> Iterator[float]: ...

@final
class Rectangle:
    """A value of 4 numbers, read-only."""
    empty: ClassVar[Rectangle]
    @overload
    def __new__(cls) -> Rectangle: ...
    @overload
    def __new__(cls, x: int, y: int, width: int, height: int) -> Rectangle: ...
    @property
    def x(self) -> int: ...
    @property
    def y(self) -> int: ...
    @property
    def width(self) -> int: ...
    @property
    def height(self) -> int: ...
    @property
    def left(self) -> int: ...
    @property
    def top(self) -> int: ...
    @property
    def right(self) -> int: ...
    @property
    def bottom(self) -> int: ...
    @property
    def is_empty(self) -> bool:
        """Whether all numbers are zero."""
    def __iter__(self) -> Iterator[int]: ...

@final
class RectangleF:
    """A value of 4 numbers, read-only."""
    empty: ClassVar[RectangleF]
    @overload
    def __new__(cls) -> RectangleF: ...
    @overload
    def __new__(cls, x: float, y: float, width: float, height: float) -> RectangleF: ...
    @property
    def x(self) -> float: ...
    @property
    def y(self) -> float: ...
    @property
    def width(self) -> float: ...
    @property
    def height(self) -> float: ...
    @property
    def left(self) -> float: ...
    @property
    def top(self) -> float: ...
    @property
    def right(self) -> float: ...
    @property
    def bottom(self) -> float: ...
    @property
    def is_empty(self) -> bool:
        """Whether all numbers are zero."""
    def __iter__(self) -> Iterator[float]: ...
