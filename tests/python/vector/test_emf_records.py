"""What each record of an enhanced metafile draws, pixel by pixel, without smoothing."""

from __future__ import annotations

import struct

import pytest

from support.drawn_metafiles import BLACK, BLUE, GREEN, RED, WHITE, color_at, dark, drawn
from support.metafiles import (BLACK_PEN, BOUNDS, IDENTITY, NULL_BRUSH, NULL_PEN, SIDE, bitmap_header, blit, brush,
                               colorref, emf, emf_record, extended_pen, floats, font, pen, points16, points32, region,
                               rows24, rows32, select, stretch_dib, text_out, words)

FILLED = select(NULL_PEN) + brush(1, RED)
LINES = select(NULL_BRUSH)
SQUARE = [(20, 20), (60, 20), (60, 60), (20, 60)]


def box(kind: int, left: int, top: int, right: int, bottom: int, *more: int) -> bytes:
    return emf_record(kind, words(left, top, right, bottom, *more))


def path(*records: bytes, then: int = 62) -> bytes:
    return emf_record(59) + b"".join(records) + emf_record(60) + emf_record(then, BOUNDS)


POLYGON = points32(3, SQUARE)
RECTANGLE = box(43, 20, 20, 61, 61)
RED_DOT = (bitmap_header(1, 1, 24), rows24([[RED]]))
FOUR = (bitmap_header(2, 2, 24), rows24([[RED, GREEN], [BLUE, BLACK]]))
MASK = (bitmap_header(2, 2, 1, colors=(BLACK, WHITE)), bytes([0x40, 0, 0, 0, 0x80, 0, 0, 0]))  # set on the diagonal

#: By name: the records, and colors by place.
CASES: dict[str, tuple[bytes, dict[tuple[int, int], int]]] = {
    "rectangle": (FILLED + RECTANGLE, {(20, 20): RED, (59, 59): RED, (19, 30): WHITE, (61, 30): WHITE}),
    "rectangle with a pen": (pen(2, BLUE) + brush(1, RED) + RECTANGLE,
                             {(20, 20): BLUE, (60, 60): BLUE, (21, 21): RED, (59, 59): RED, (61, 61): WHITE}),
    "pen inside the frame": (pen(2, BLUE, 8, 6) + LINES + RECTANGLE,
                             {(21, 40): BLUE, (26, 40): BLUE, (30, 40): WHITE, (18, 40): WHITE}),
    "ellipse": (FILLED + box(42, 20, 20, 61, 61), {(40, 40): RED, (21, 21): WHITE, (40, 21): RED, (22, 40): RED}),
    "round rectangle": (FILLED + box(44, 20, 20, 61, 61, 20, 20),
                        {(20, 20): WHITE, (22, 22): WHITE, (40, 20): RED, (20, 40): RED, (25, 25): RED}),
    "arc": (pen(2, BLUE, 3) + box(45, 20, 20, 61, 61, 80, 40, 40, 0),
            {(40, 20): BLUE, (54, 26): BLUE, (40, 60): WHITE, (20, 40): WHITE, (40, 40): WHITE}),
    "arc clockwise": (emf_record(57, words(2)) + pen(2, BLUE, 3) + box(45, 20, 20, 61, 61, 80, 40, 40, 0),
                      {(40, 60): BLUE, (20, 40): BLUE, (54, 26): WHITE}),
    "arc to": (pen(2, BLUE, 3) + emf_record(27, words(80, 80)) + box(55, 20, 20, 61, 61, 80, 40, 40, 0)
               + emf_record(54, words(40, 5)), {(70, 60): BLUE, (54, 26): BLUE, (40, 10): BLUE}),
    "chord": (FILLED + box(46, 20, 20, 61, 61, 80, 40, 40, 0), {(50, 28): RED, (42, 38): WHITE, (40, 50): WHITE}),
    "pie": (FILLED + box(47, 20, 20, 61, 61, 80, 40, 40, 0), {(50, 28): RED, (42, 38): RED, (38, 42): WHITE}),
    "angle arc": (pen(2, BLUE, 3) + emf_record(27, words(70, 40)) + emf_record(41, words(40, 40, 20) + floats(0, 90)),
                  {(65, 40): BLUE, (40, 20): BLUE, (54, 26): BLUE, (40, 60): WHITE}),
    "polygon": (FILLED + POLYGON, {(20, 20): RED, (59, 59): RED, (61, 61): WHITE}),
    "polygon of short numbers": (FILLED + points16(86, SQUARE), {(20, 20): RED, (59, 59): RED, (61, 61): WHITE}),
    "polyline": (pen(2, BLUE) + points32(4, SQUARE), {(40, 20): BLUE, (60, 40): BLUE, (20, 40): WHITE}),
    "polyline of short numbers": (pen(2, BLUE) + points16(87, SQUARE), {(40, 20): BLUE, (20, 40): WHITE}),
    "curve": (pen(2, BLUE, 3) + points32(2, [(10, 50), (10, 10), (80, 10), (80, 50)]),
              {(45, 20): BLUE, (10, 49): BLUE, (45, 50): WHITE}),
    "curve of short numbers": (pen(2, BLUE, 3) + points16(85, [(10, 50), (10, 10), (80, 10), (80, 50)]),
                               {(45, 20): BLUE, (45, 50): WHITE}),
    "curve to": (pen(2, BLUE, 3) + emf_record(27, words(10, 50)) + points32(5, [(10, 10), (80, 10), (80, 50)])
                 + emf_record(54, words(80, 90)), {(45, 20): BLUE, (80, 70): BLUE}),
    "curve to short numbers": (pen(2, BLUE, 3) + emf_record(27, words(10, 50))
                               + points16(88, [(10, 10), (80, 10), (80, 50)]), {(45, 20): BLUE}),
    "line to": (pen(2, BLUE) + emf_record(27, words(10, 10)) + emf_record(54, words(50, 10))
                + emf_record(54, words(50, 50)), {(30, 10): BLUE, (50, 30): BLUE, (30, 11): WHITE}),
    "polyline to": (pen(2, BLUE) + emf_record(27, words(10, 10)) + points32(6, [(50, 10), (50, 50)]),
                    {(30, 10): BLUE, (50, 30): BLUE}),
    "polyline to short numbers": (pen(2, BLUE) + emf_record(27, words(10, 10)) + points16(89, [(50, 10), (50, 50)]),
                                  {(30, 10): BLUE, (50, 30): BLUE}),
    "several polygons": (FILLED + emf_record(8, BOUNDS + words(2, 8, 4, 4, 20, 20, 60, 20, 60, 60, 20, 60, 30, 30, 50,
                                                               30, 50, 50, 30, 50)),
                         {(25, 25): RED, (40, 40): WHITE}),
    "winding": (FILLED + emf_record(19, words(2)) + emf_record(8, BOUNDS + words(
        2, 8, 4, 4, 20, 20, 60, 20, 60, 60, 20, 60, 30, 30, 50, 30, 50, 50, 30, 50)), {(40, 40): RED}),
    "several polylines": (pen(2, BLUE) + emf_record(7, BOUNDS + words(2, 4, 2, 2, 10, 10, 40, 10, 10, 30, 40, 30)),
                          {(20, 10): BLUE, (20, 30): BLUE, (20, 20): WHITE}),
    "several short polylines": (pen(2, BLUE) + emf_record(90, BOUNDS + words(2, 4, 2, 2)
                                                          + struct.pack("<8h", 10, 10, 40, 10, 10, 30, 40, 30)),
                                {(20, 10): BLUE, (20, 30): BLUE}),
    "several short polygons": (FILLED + emf_record(91, BOUNDS + words(2, 8, 4, 4) + struct.pack(
        "<16h", 20, 20, 60, 20, 60, 60, 20, 60, 30, 30, 50, 30, 50, 50, 30, 50)), {(25, 25): RED, (40, 40): WHITE}),
    "points with types": (pen(2, BLUE) + emf_record(56, BOUNDS + words(3, 10, 10, 50, 10, 50, 50) + bytes([6, 2, 3])),
                          {(30, 10): BLUE, (50, 30): BLUE, (30, 30): BLUE}),
    "short points with types": (pen(2, BLUE) + emf_record(92, BOUNDS + words(3) + struct.pack(
        "<6h", 10, 10, 50, 10, 50, 50) + bytes([6, 2, 3])), {(30, 10): BLUE, (50, 30): BLUE}),
    "pixel": (emf_record(15, words(30, 40, colorref(GREEN))), {(30, 40): GREEN, (31, 40): WHITE}),

    "path": (FILLED + path(POLYGON), {(20, 20): RED, (59, 59): RED}),
    "path of lines": (FILLED + path(emf_record(27, words(20, 20)), emf_record(54, words(60, 20)),
                                    emf_record(54, words(60, 60)), emf_record(54, words(20, 60)), emf_record(61)),
                      {(21, 40): RED, (40, 40): RED}),
    "stroked path": (pen(2, BLUE, 3) + path(POLYGON, then=64), {(20, 40): BLUE, (40, 40): WHITE}),
    "stroked and filled path": (pen(2, BLUE, 3) + brush(1, RED) + path(POLYGON, then=63),
                                {(20, 40): BLUE, (40, 40): RED}),
    "widened path": (extended_pen(2, BLUE, 10) + brush(1, RED) + emf_record(59) + points32(4, [(10, 40), (80, 40)])
                     + emf_record(60) + emf_record(66) + emf_record(62, BOUNDS), {(40, 37): RED, (40, 50): WHITE}),
    "flattened path": (FILLED + emf_record(59) + box(42, 20, 20, 61, 61) + emf_record(60) + emf_record(65)
                       + emf_record(62, BOUNDS), {(40, 40): RED, (21, 21): WHITE}),
    "aborted path": (FILLED + emf_record(59) + POLYGON + emf_record(68) + emf_record(62, BOUNDS), {(40, 40): WHITE}),
    "clip by a path": (FILLED + emf_record(59) + POLYGON + emf_record(60) + emf_record(67, words(5))
                       + box(43, 0, 0, 97, 97), {(40, 40): RED, (10, 10): WHITE, (70, 70): WHITE}),

    "clip": (FILLED + box(30, 20, 20, 60, 60) + box(43, 0, 0, 97, 97), {(40, 40): RED, (60, 60): WHITE}),
    "clip without": (FILLED + box(29, 20, 20, 60, 60) + box(43, 0, 0, 97, 97), {(40, 40): WHITE, (60, 60): RED}),
    "clip moved": (FILLED + box(30, 20, 20, 60, 60) + emf_record(26, words(20, 0)) + box(43, 0, 0, 97, 97),
                   {(30, 30): WHITE, (70, 30): RED}),
    "clip of a region": (FILLED + emf_record(75, words(64, 5) + region([(0, 0, 10, 96), (50, 0, 60, 96)]))
                         + box(43, 0, 0, 97, 97), {(5, 40): RED, (30, 40): WHITE, (55, 40): RED}),
    "clip ended": (FILLED + box(30, 20, 20, 60, 60) + emf_record(75, words(0, 5)) + box(43, 0, 0, 97, 97),
                   {(70, 70): RED}),
    "lasting clip": (FILLED + box(30, 20, 20, 60, 60) + emf_record(28) + emf_record(75, words(0, 5))
                     + box(43, 0, 0, 97, 97), {(40, 40): RED, (70, 70): WHITE}),

    "saved state": (FILLED + emf_record(33) + brush(2, BLUE) + box(43, 0, 0, 31, 31) + emf_record(34, words(-1))
                    + box(43, 40, 40, 71, 71), {(10, 10): BLUE, (50, 50): RED}),
    "deleted object": (FILLED + emf_record(40, words(1)) + brush(1, GREEN) + RECTANGLE, {(40, 40): GREEN}),
    "world": (FILLED + emf_record(35, floats(2, 0, 0, 2, 10, 20)) + points32(3, [(0, 0), (20, 0), (20, 20), (0, 20)]),
              {(11, 21): RED, (49, 59): RED, (51, 40): WHITE, (9, 30): WHITE}),
    "world changed": (FILLED + emf_record(35, floats(2, 0, 0, 2, 0, 0))
                      + emf_record(36, floats(1, 0, 0, 1, 10, 0) + words(2))
                      + points32(3, [(0, 0), (20, 0), (20, 20), (0, 20)]), {(21, 1): RED, (19, 1): WHITE}),
    "window": (FILLED + emf_record(17, words(8)) + emf_record(9, words(960, 960)) + emf_record(11, words(96, 96))
               + emf_record(10, words(100, 0)) + points32(3, [(100, 0), (300, 0), (300, 200), (100, 200)]),
               {(0, 0): RED, (19, 19): RED, (21, 10): WHITE}),
    "scaled window": (FILLED + emf_record(17, words(8)) + emf_record(9, words(96, 96)) + emf_record(11, words(96, 96))
                      + emf_record(32, words(1, 2, 1, 2)) + points32(3, [(0, 0), (20, 0), (20, 20), (0, 20)]),
                      {(39, 39): RED, (41, 10): WHITE}),
    "scaled viewport": (FILLED + emf_record(17, words(8)) + emf_record(9, words(96, 96))
                        + emf_record(11, words(96, 96)) + emf_record(31, words(2, 1, 2, 1))
                        + points32(3, [(0, 0), (20, 0), (20, 20), (0, 20)]), {(39, 39): RED, (41, 10): WHITE}),
    "viewport": (FILLED + emf_record(12, words(30, 40)) + points32(3, [(0, 0), (20, 0), (20, 20), (0, 20)]),
                 {(30, 40): RED, (49, 59): RED, (29, 39): WHITE}),
    "isotropic": (FILLED + emf_record(17, words(7)) + emf_record(9, words(100, 100)) + emf_record(11, words(200, 50))
                  + points32(3, [(0, 0), (100, 0), (100, 100), (0, 100)]), {(49, 49): RED, (51, 20): WHITE}),
    "millimeters": (FILLED + emf_record(12, words(0, 96)) + emf_record(17, words(2))
                    + points32(3, [(0, 0), (127, 0), (127, 127), (0, 127)]),
                    {(10, 90): RED, (47, 49): RED, (50, 90): WHITE, (10, 45): WHITE}),

    "mix": (FILLED + RECTANGLE + emf_record(20, words(7)) + brush(2, GREEN) + box(43, 40, 40, 81, 81),
            {(30, 30): RED, (50, 50): 0xFFFF00, (70, 70): 0xFF00FF}),
    "mix of a line": (emf_record(20, words(6)) + emf_record(25, words(colorref(GREEN))) + pen(2, BLUE, 3)
                      + points32(4, [(10, 40), (80, 40)]), {(40, 40): BLACK, (40, 50): WHITE}),
    "hatch": (select(NULL_PEN) + brush(1, RED, 2, 0) + emf_record(18, words(1)) + box(43, 0, 0, 97, 97),
              {(40, 0): RED, (40, 8): RED, (40, 4): WHITE}),
    "hatch over its background": (select(NULL_PEN) + brush(1, RED, 2, 1) + emf_record(25, words(colorref(GREEN)))
                                  + box(43, 0, 0, 97, 97), {(0, 40): RED, (4, 40): GREEN, (8, 40): RED}),
    "pattern": (select(NULL_PEN) + emf_record(94, words(1, 0, 32, 40, 72, 16) + FOUR[0] + FOUR[1]) + select(1)
                + box(43, 0, 0, 97, 97), {(0, 0): RED, (1, 0): GREEN, (0, 1): BLUE, (1, 1): BLACK, (2, 2): RED}),
    "pattern from another origin": (select(NULL_PEN) + emf_record(13, words(1, 0))
                                    + emf_record(94, words(1, 0, 32, 40, 72, 16) + FOUR[0] + FOUR[1]) + select(1)
                                    + box(43, 0, 0, 97, 97), {(1, 0): RED, (2, 0): GREEN}),
    "pattern of two colors": (select(NULL_PEN) + emf_record(24, words(colorref(BLUE)))
                              + emf_record(25, words(colorref(GREEN)))
                              + emf_record(93, words(1, 0, 32, 48, 80, 8) + MASK[0] + MASK[1]) + select(1)
                              + box(43, 0, 0, 97, 97), {(0, 0): GREEN, (1, 0): BLUE, (0, 1): BLUE, (1, 1): GREEN}),
    "dashes": (emf_record(18, words(1)) + emf_record(25, words(colorref(GREEN))) + pen(2, BLUE, 0, 1)
               + points32(4, [(0, 40), (95, 40)]), {(5, 40): BLUE, (20, 40): WHITE, (30, 40): BLUE}),
    "gaps with a background": (pen(2, BLUE, 0, 1) + emf_record(25, words(colorref(GREEN)))
                               + points32(4, [(0, 40), (95, 40)]), {(5, 40): BLUE, (20, 40): GREEN}),
    "own dashes": (emf_record(25, words(colorref(GREEN))) + extended_pen(2, BLUE, 4, 0x10207, (20, 10))
                   + points32(4, [(0, 40), (95, 40)]), {(10, 40): BLUE, (25, 40): WHITE, (35, 40): BLUE}),
    "square ends": (extended_pen(2, BLUE, 10, 0x10100) + points32(4, [(20, 40), (60, 40)]),
                    {(16, 40): BLUE, (64, 40): BLUE, (16, 37): BLUE}),
    "flat ends": (extended_pen(2, BLUE, 10, 0x10200) + points32(4, [(20, 40), (60, 40)]),
                  {(18, 40): WHITE, (63, 40): WHITE, (40, 37): BLUE}),

    "filled region": (brush(1, RED) + emf_record(71, BOUNDS + words(48, 1) + region([(20, 20, 60, 60)])),
                      {(20, 20): RED, (59, 59): RED, (60, 60): WHITE}),
    "painted region": (brush(1, RED) + emf_record(74, BOUNDS + words(48) + region([(20, 20, 60, 60)])),
                       {(20, 20): RED, (60, 60): WHITE}),
    "framed region": (brush(1, RED) + emf_record(72, BOUNDS + words(48, 1, 4, 4) + region([(20, 20, 60, 60)])),
                      {(21, 40): RED, (40, 22): RED, (40, 40): WHITE, (25, 40): WHITE}),
    "inverted region": (FILLED + RECTANGLE + emf_record(73, BOUNDS + words(48) + region([(30, 30, 96, 96)])),
                        {(25, 25): RED, (40, 40): 0x00FFFF, (80, 80): BLACK}),

    "bitmap": (stretch_dib(*FOUR, (20, 20, 40, 40), (2, 2)),
               {(25, 25): RED, (55, 25): GREEN, (25, 55): BLUE, (55, 55): BLACK, (61, 61): WHITE}),
    "mirrored bitmap": (stretch_dib(*FOUR, (60, 20, -40, 40), (2, 2)), {(25, 25): GREEN, (55, 25): RED}),
    "part of a bitmap": (emf_record(81, BOUNDS + words(20, 20, 0, 0, 1, 1, 80, 40, 120, 16, 0, 0x00CC0020, 40, 40)
                                    + FOUR[0] + FOUR[1]), {(25, 25): BLUE, (55, 55): BLUE}),
    "bitmap of indices": (stretch_dib(bitmap_header(2, 1, 8, colors=(RED, GREEN)), bytes([1, 0, 0, 0]),
                                      (20, 20, 40, 40), (2, 1)), {(25, 40): GREEN, (55, 40): RED}),
    "bitmap of four bits": (stretch_dib(bitmap_header(2, 1, 4, colors=(RED, GREEN)), bytes([0x10, 0, 0, 0]),
                                        (20, 20, 40, 40), (2, 1)), {(25, 40): GREEN, (55, 40): RED}),
    "bitmap of one bit": (stretch_dib(bitmap_header(2, 1, 1, colors=(RED, GREEN)), bytes([0x80, 0, 0, 0]),
                                      (20, 20, 40, 40), (2, 1)), {(25, 40): GREEN, (55, 40): RED}),
    "bitmap of 16 bits": (stretch_dib(bitmap_header(1, 1, 16), struct.pack("<I", 0x7C00), (20, 20, 40, 40), (1, 1)),
                          {(40, 40): RED}),
    "bitmap of bit fields": (stretch_dib(bitmap_header(1, 1, 32, 3, (0xFF, 0xFF00, 0xFF0000)),
                                         struct.pack("<I", 0x0000FF), (20, 20, 40, 40), (1, 1)), {(40, 40): RED}),
    "bitmap of runs": (stretch_dib(bitmap_header(4, 1, 8, 1, (RED, GREEN)), bytes([4, 1, 0, 0, 0, 1]),
                                   (20, 20, 40, 40), (4, 1)), {(40, 40): GREEN}),
    "pattern alone": (brush(1, RED) + blit(76, (20, 20, 40, 40), 0x00F00021), {(20, 20): RED, (60, 60): WHITE}),
    "black": (blit(76, (20, 20, 40, 40), 0x00000042), {(20, 20): BLACK, (59, 59): BLACK, (60, 60): WHITE}),
    "inverse": (FILLED + RECTANGLE + blit(76, (40, 40, 40, 40), 0x00550009), {(50, 50): 0x00FFFF, (70, 70): BLACK}),
    "copy": (blit(76, (20, 20, 2, 2), 0x00CC0020, bitmap=FOUR), {(20, 20): RED, (21, 20): GREEN, (20, 21): BLUE}),
    "stretched copy": (blit(77, (20, 20, 40, 40), 0x00CC0020, (0, 0, 2, 2), FOUR), {(25, 25): RED, (55, 55): BLACK}),
    "source and destination": (FILLED + RECTANGLE + blit(77, (20, 20, 40, 40), 0x008800C6, (0, 0, 2, 2), FOUR),
                               {(25, 25): RED, (55, 25): BLACK}),
    "source and pattern": (brush(1, 0x00FFFF) + blit(77, (20, 20, 40, 40), 0x00C000CA, (0, 0, 2, 2), FOUR),
                           {(25, 25): BLACK, (55, 25): GREEN, (25, 55): BLUE}),
    "mask": (blit(78, (20, 20, 2, 2), 0xAACC0000, bitmap=FOUR, mask=MASK),
             {(20, 20): RED, (21, 20): WHITE, (20, 21): WHITE, (21, 21): BLACK}),
    "parallelogram": (emf_record(79, BOUNDS + words(20, 20, 60, 20, 20, 60, 0, 0, 2, 2) + IDENTITY
                                 + words(0, 0, 140, 40, 180, 16, 0, 0, 0, 0, 0, 0, 0) + FOUR[0] + FOUR[1]),
                      {(25, 25): RED, (55, 25): GREEN}),
    "blended": (blit(114, (20, 20, 40, 40), 0x00800000, (0, 0, 2, 2), FOUR), {(25, 25): 0xFF7F7F}),
    "blended by its own alpha": (blit(114, (20, 20, 40, 40), 0x01FF0000, (0, 0, 2, 1), (
        bitmap_header(2, 1, 32), rows32([[0x80800000, 0xFF00FF00]]))), {(25, 40): 0xFF7F7F, (55, 40): GREEN}),
    "transparent color": (blit(116, (20, 20, 40, 40), colorref(GREEN), (0, 0, 2, 2), FOUR),
                          {(25, 25): RED, (55, 25): WHITE, (25, 55): BLUE}),
    "to the device": (emf_record(80, BOUNDS + words(20, 30, 0, 0, 2, 2, 76, 40, 116, 16, 0, 0, 2) + FOUR[0] + FOUR[1]),
                      {(20, 30): RED, (21, 30): GREEN, (20, 31): BLUE, (22, 32): WHITE}),
    "rows to the device": (emf_record(80, BOUNDS + words(20, 30, 0, 0, 2, 2, 76, 40, 116, 8, 0, 1, 1) + FOUR[0]
                                      + FOUR[1][8:]), {(20, 30): RED, (21, 30): GREEN, (20, 31): WHITE}),
    "gradient": (emf_record(118, BOUNDS + words(2, 1, 0)
                            + b"".join(struct.pack("<2i4H", x, y, *color) for x, y, color in (
                                (0, 20, (0xFF00, 0, 0, 0)), (96, 60, (0, 0, 0xFF00, 0)))) + words(0, 1)),
                 {(0, 40): 0xFE0001, (95, 40): 0x0100FE, (48, 10): WHITE}),
    "gradient under a map": (emf_record(35, floats(0.5, 0, 0, 0.5, 40, 10)) + emf_record(118, BOUNDS + words(2, 1, 0)
                             + b"".join(struct.pack("<2i4H", x, y, *color) for x, y, color in (
                                 (0, 20, (0xFF00, 0, 0, 0)), (96, 60, (0, 0, 0xFF00, 0)))) + words(0, 1)),
                             {(40, 30): 0xFC0003, (64, 30): 0x7D0082, (87, 30): 0x0300FC, (39, 30): WHITE,
                              (89, 30): WHITE, (64, 19): WHITE, (64, 41): WHITE}),
    "gradient downwards": (emf_record(118, BOUNDS + words(2, 1, 1)
                                      + b"".join(struct.pack("<2i4H", x, y, *color) for x, y, color in (
                                          (20, 0, (0xFF00, 0, 0, 0)), (60, 96, (0, 0, 0xFF00, 0)))) + words(0, 1)),
                           {(40, 0): 0xFE0001, (40, 95): 0x0100FE, (10, 48): WHITE}),
    "triangle": (emf_record(118, BOUNDS + words(3, 1, 2)
                            + b"".join(struct.pack("<2i4H", x, y, *color) for x, y, color in (
                                (0, 0, (0xFF00, 0, 0, 0)), (96, 0, (0, 0xFF00, 0, 0)), (0, 96, (0, 0, 0xFF00, 0))))
                            + words(0, 1, 2)),
                 {(1, 1): 0xF70404, (90, 1): 0x0BF004, (80, 80): WHITE}),
}


@pytest.mark.parametrize("name", CASES)
def test_records(name: str) -> None:
    records, expected = CASES[name]
    picture = drawn(emf(records))
    found = {place: color_at(picture, place) for place in expected}
    near = {place: max(abs((found[place] >> shift & 255) - (color >> shift & 255)) for shift in (0, 8, 16)) <= 3
            for place, color in expected.items()}
    assert all(near.values()), {place: (hex(found[place]), hex(expected[place])) for place in near if not near[place]}


def closed(corners: list[tuple[int, int]]) -> bytes:
    return points32(3, corners)


def square(left: int, top: int, side: int, *, turned: bool = False) -> list[tuple[int, int]]:
    corners = [(left, top), (left + side, top), (left + side, top + side), (left, top + side)]
    return corners[::-1] if turned else corners


#: Places: in the first square alone, in the second alone, in both, in none.
PLACES = [(15, 15), (65, 65), (40, 40), (85, 15)]


@pytest.mark.parametrize("winding", [False, True])
@pytest.mark.parametrize("turned", [False, True])
@pytest.mark.parametrize("mode", [1, 2, 3, 4, 5])
def test_clips_of_paths_that_overlap_themselves(mode: int, turned: bool, winding: bool) -> None:
    """Together with a clip before, whose left edge cuts a part: and, or, exclusive or, difference, copy."""
    both = winding and not turned
    inside = [True, True, both, False]
    before = [x < 50 for x, _ in PLACES]
    shown = [{1: a and b, 2: a or b, 3: a != b, 4: a and not b, 5: b}[mode]
             for a, b in zip(before, inside, strict=True)]
    picture = drawn(emf(
        emf_record(30, words(0, 0, 50, 96)), emf_record(19, words(2 if winding else 1)),
        emf_record(59), closed(square(10, 10, 40)), closed(square(30, 30, 40, turned=turned)), emf_record(60),
        emf_record(67, words(mode)), FILLED, box(43, 0, 0, 97, 97)))
    assert [color_at(picture, place) == RED for place in PLACES] == shown


PLAIN = emf_record(18, words(1)) + font(3, -20, "DejaVu Sans")


def test_text_stands_where_its_alignment_says() -> None:
    left, top, right, bottom = dark(drawn(emf(PLAIN + emf_record(22, words(24)) + text_out("H", (30, 60), [16]))))
    assert 30 <= left <= 34 and right <= 48 and abs(bottom - 60) <= 1 and abs(top - 45) <= 1  # on the baseline
    below = dark(drawn(emf(PLAIN + text_out("H", (30, 60), [16]))))
    assert below[1] >= 60  # the point is the top of the line
    above = dark(drawn(emf(PLAIN + emf_record(22, words(8)) + text_out("H", (30, 60), [16]))))
    assert above[3] <= 60
    centered = dark(drawn(emf(PLAIN + emf_record(22, words(30)) + text_out("HH", (48, 60), [20, 20]))))
    assert abs((centered[0] + centered[2]) / 2 - 48) <= 4
    before = dark(drawn(emf(PLAIN + emf_record(22, words(26)) + text_out("HH", (90, 60), [20, 20]))))
    assert 80 < before[2] <= 90 and before[0] >= 50


def test_characters_keep_their_distances() -> None:
    picture = drawn(emf(PLAIN + text_out("||", (10, 30), [50, 10])))
    columns = [x for x in range(SIDE) if any(picture.getpixel((x, y))[0] < 128 for y in range(SIDE))]
    assert columns and max(columns) - min(columns) in range(48, 53)


def test_text_has_its_color_and_background() -> None:
    picture = drawn(emf(emf_record(24, words(colorref(RED))) + emf_record(25, words(colorref(GREEN)))
                        + font(3, -40, "DejaVu Sans") + text_out("I", (30, 20), [12])))
    colors = {color for _, color in picture.getcolors(99999)}
    assert (255, 0, 0) in colors and (0, 255, 0) in colors and picture.getpixel((90, 90)) == (255, 255, 255)


def test_text_is_cut_by_its_rectangle() -> None:
    whole = dark(drawn(emf(PLAIN + text_out("HHHH", (10, 30), [16] * 4))))
    cut = dark(drawn(emf(PLAIN + text_out("HHHH", (10, 30), [16] * 4, 4, (10, 0, 40, 96)))))
    assert whole[2] > 60 and cut[2] <= 40
    filled = drawn(emf(emf_record(25, words(colorref(GREEN))) + PLAIN
                       + text_out("", (10, 30), [], 2, (10, 20, 40, 50))))
    assert color_at(filled, (20, 30)) == GREEN and color_at(filled, (41, 30)) == WHITE


def test_turned_text_runs_upwards() -> None:
    picture = drawn(emf(emf_record(18, words(1)) + emf_record(22, words(24)) + font(3, -16, "DejaVu Sans", 900)
                        + text_out("HHHH", (48, 80), [13] * 4)))
    left, top, right, bottom = dark(picture)
    assert bottom - top > 2 * (right - left) and 32 <= left and right <= 50


def test_bytes_are_characters_of_the_fonts_set() -> None:
    cyrillic = drawn(emf(emf_record(18, words(1)) + font(3, -30, "DejaVu Sans", charset=204)
                         + text_out("Ж", (30, 30), [30], wide=False)))
    wide = drawn(emf(emf_record(18, words(1)) + font(3, -30, "DejaVu Sans") + text_out("Ж", (30, 30), [30])))
    assert dark(cyrillic)[2] > 40 and cyrillic.tobytes() == wide.tobytes()


def small_text(text: str, at: tuple[int, int], options: int, box: tuple[int, int, int, int] = (0, 0, 0, 0)) -> bytes:
    """A rectangle stands in the record unless the options say that there is none (0x100); 0x200 is for bytes."""
    letters = text.encode("cp1251" if options & 0x200 else "utf-16-le")
    data = words(*at, len(text), options, 1) + floats(1, 1) + (b"" if options & 0x100 else words(*box)) + letters
    return emf_record(108, data)


@pytest.mark.parametrize(("options", "box"), [
    (0x100, (0, 0, 0, 0)), (0x300, (0, 0, 0, 0)), (0, (0, 0, 96, 96)), (0x200, (0, 0, 96, 96)),
    (4, (20, 0, 40, 96)), (2, (20, 20, 50, 50)), (6, (20, 20, 50, 50)), (0x110, (0, 0, 0, 0)), (0x310, (0, 0, 0, 0))])
def test_small_text_is_text_without_distances(options: int, box: tuple[int, int, int, int]) -> None:
    """0x10 is for numbers of glyphs, which are not drawn."""
    text = "\u0416x"
    head = emf_record(25, words(colorref(GREEN))) + emf_record(18, words(1)) + font(3, -20, "DejaVu Sans", charset=204)
    found = drawn(emf(head + small_text(text, (30, 30), options, box)))
    if options & 0x10:
        assert found.getextrema() == ((255, 255), ) * 3
        return
    expected = drawn(emf(head + text_out(text, (30, 30), [], options & ~0x200 | 0x100 * (box == (0, 0, 0, 0)), box)))
    assert dark(found)[0] >= 20 and found.tobytes() == expected.tobytes()
    assert (color_at(found, (21, 21)) == GREEN) == bool(options & 2)


@pytest.mark.parametrize("wide", [True, False])
def test_several_texts_in_a_record(wide: bool) -> None:
    runs = [("H", (10, 30), [20]), ("\u0416x", (50, 60), [25, 15])]
    head = emf_record(18, words(1)) + font(3, -20, "DejaVu Sans", charset=204)
    start = 8 + 16 + 4 + 8 + 4 + 40 * len(runs)
    heads = pieces = b""
    for text, at, advances in runs:
        letters = text.encode("utf-16-le" if wide else "cp1251")
        letters += bytes(-len(letters) % 4)
        place = start + len(pieces)
        heads += words(*at, len(text), place, 0, 0, 0, 96, 96, place + len(letters))
        pieces += letters + words(*advances)
    record = emf_record(97 if wide else 96, BOUNDS + words(1) + floats(1, 1) + words(len(runs)) + heads + pieces)
    alone = b"".join(text_out(text, at, advances, 0, (0, 0, 96, 96)) for text, at, advances in runs)
    found = drawn(emf(head + record))
    assert dark(found)[2] > 50 and found.tobytes() == drawn(emf(head + alone)).tobytes()


@pytest.mark.parametrize(("advances", "pairs"), [([50, 10], [50, 0, 10, 0]), ([30, 10], [30, 12, 10, 0]),
                                                 ([30, 10], [30, -12, 10, 0])])
def test_distances_across_and_up(advances: list[int], pairs: list[int]) -> None:
    """Of pairs (0x2000) the second number moves the letters behind it up."""
    picture = drawn(emf(PLAIN + text_out("||", (10, 30), pairs, 0x2000)))
    plain = drawn(emf(PLAIN + text_out("||", (10, 30), advances)))
    middle = 10 + advances[0] // 2
    assert picture.crop((0, 0, middle, 96)).tobytes() == plain.crop((0, 0, middle, 96)).tobytes()
    second, before = (dark(each.crop((middle, 0, 96, 96))) for each in (picture, plain))
    assert (second[0], second[2]) == (before[0], before[2])
    assert (second[1], second[3]) == (before[1] - pairs[1], before[3] - pairs[1])


def styled_font(face: str, *, underlined: bool = False) -> bytes:
    data = struct.pack("<5i8B", -30, 0, 0, 0, 400, 0, underlined, 0, 0, 0, 0, 0, 0) + face.encode("utf-16-le").ljust(
        64, b"\0")
    return emf_record(82, words(3) + data + bytes(320 - len(data))) + select(3)


def test_faces_for_upright_lines_are_the_faces_themselves() -> None:
    """Their names begin with an at sign."""
    upright, plain, other = (drawn(emf(emf_record(18, words(1)) + styled_font(face) + text_out("Wi", (10, 30), [])))
                             for face in ("@DejaVu Serif", "DejaVu Serif", "@DejaVu Sans"))
    assert dark(upright)[2] > 30 and upright.tobytes() == plain.tobytes() != other.tobytes()


def test_lines_below_letters_belong_to_a_path_of_them() -> None:
    def filled(underlined: bool) -> tuple[int, int, int, int]:
        return dark(drawn(emf(select(NULL_PEN) + brush(1, BLACK) + styled_font("DejaVu Sans", underlined=underlined)
                              + emf_record(59) + text_out("Hx", (10, 20), [30, 30]) + emf_record(60)
                              + emf_record(62, BOUNDS))))
    plain, line = filled(False), filled(True)
    assert line[1] == plain[1] and plain[3] + 2 <= line[3] <= plain[3] + 8
    assert line[0] <= plain[0] and line[2] in range(68, 72)  # as wide as the two letters together


def test_text_can_be_a_path() -> None:
    picture = drawn(emf(select(NULL_PEN) + brush(1, RED) + font(3, -60, "DejaVu Sans") + emf_record(59)
                        + text_out("I", (40, 10), [20]) + emf_record(60) + emf_record(62, BOUNDS)))
    assert RED in {color[0] << 16 | color[1] << 8 | color[2] for _, color in picture.getcolors(99999)}


def test_the_position_moves_with_text() -> None:
    picture = drawn(emf(emf_record(18, words(1)) + emf_record(22, words(25)) + font(3, -16, "DejaVu Sans")
                        + emf_record(27, words(10, 50)) + text_out("H", (0, 0), [30]) + pen(2, BLUE, 3)
                        + emf_record(54, words(80, 50))))
    assert color_at(picture, (60, 50)) == BLUE and color_at(picture, (30, 50)) == WHITE


def test_a_curve_of_a_black_pen_is_the_usual_one() -> None:
    picture = drawn(emf(select(BLACK_PEN) + points32(4, [(10, 10), (50, 10)])))
    assert color_at(picture, (30, 10)) == BLACK
