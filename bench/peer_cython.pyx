# cython: language_level=3
"""The peer that a Python programmer would pick: the measured members as extension classes in Cython.

As with the peer under pybind11, nothing managed stands behind them. Cython knows no overloads: a constructor or method
with several takes optional arguments and looks at what it was given, as its users write it.
"""


cdef class Point:
    cdef int x
    cdef int y

    def __init__(self, x=None, y=None, *, size=None, dw=None):
        if y is not None:
            self.x = x
            self.y = y
        elif isinstance(x, Size) or size is not None:
            self._take_size(x if size is None else size)
        elif x is not None or dw is not None:
            self._take_word(x if dw is None else dw)

    cdef _take_size(self, Size size):
        self.x = size._width
        self.y = size._height

    cdef _take_word(self, int dword):
        self.x = <short>dword
        self.y = <short>(dword >> 16)


cdef class Size:
    cdef int _width
    cdef int _height

    def __init__(self, width=None, height=None, *, point=None):
        if height is not None:
            self._width = width
            self._height = height
        elif width is not None or point is not None:
            self._take_point(width if point is None else point)

    cdef _take_point(self, Point point):
        self._width = point.x
        self._height = point.y

    @property
    def width(self):
        return self._width

    @width.setter
    def width(self, int value):
        self._width = value


cdef class Rectangle:
    cdef int x
    cdef int y
    cdef int width
    cdef int height

    def __init__(self, int x, int y, int width, int height):
        self.x = x
        self.y = y
        self.width = width
        self.height = height

    def contains(self, x=None, y=None, *, point=None, rect=None):
        if y is not None:
            return self._contains(x, y)
        if isinstance(x, Point) or point is not None:
            return self._contains_point(x if point is None else point)
        return self._contains_rectangle(x if rect is None else rect)

    cdef bint _contains(self, int x, int y):
        return self.x <= x < self.x + self.width and self.y <= y < self.y + self.height

    cdef bint _contains_point(self, Point point):
        return self._contains(point.x, point.y)

    cdef bint _contains_rectangle(self, Rectangle other):
        return (self.x <= other.x and other.x + other.width <= self.x + self.width and self.y <= other.y
                and other.y + other.height <= self.y + self.height)


cdef dict _NAMED = {"black": 0xFF000000, "blue": 0xFF0000FF, "gray": 0xFF808080, "green": 0xFF008000,
                    "red": 0xFFFF0000, "white": 0xFFFFFFFF}


cdef class Color:
    cdef unsigned int argb

    @staticmethod
    def from_name(str name):
        cdef Color color = Color.__new__(Color)
        color.argb = _NAMED.get(name.lower(), 0)
        return color
