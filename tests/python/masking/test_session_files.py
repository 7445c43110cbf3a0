"""The files of masking sessions, field by field: taken apart and put together again with other values."""

from __future__ import annotations

import io
import struct
import zlib
from dataclasses import dataclass, field, replace
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Color, Rectangle
from zelmor.imaging.masking import IMaskingSession, ImageMasking
from zelmor.imaging.masking.options import (
    AssumedObjectData, AutoMaskingArgs, AutoMaskingGraphCutOptions, DetectedObjectType, GraphCutMaskingOptions,
    ManualMaskingArgs, MaskingOptions, SegmentationMethod)

from support import masks as known
from support.image_oracles import managed_error
from support.masks import HEIGHT, WIDTH, disk, image, masks, noisy

MARK = b"masking session 1\n"
OBJECT = disk(40, 36, 14)
PICTURE = noisy({(200, 40, 50): OBJECT})
Points = list[tuple[int, int]]
Areas = list[tuple[int, int, int, int]]


@dataclass
class SessionFile:
    """What stands in a file, in its order. Places are those of the area."""

    kind: int = 1
    size: tuple[int, int] = (WIDTH, HEIGHT)
    method: int = int(SegmentationMethod.K_MEANS)
    area: tuple[int, int, int, int] = (0, 0, WIDTH, HEIGHT)
    decompose: int = 1
    feathering: int = 0
    replacement: int = 0
    finds_strokes: int = 0
    publishes_strokes: int = 0
    objects: int = 2
    precision: float = 1.0
    iterations: int = 50
    assumed: list[tuple[int, tuple[int, int, int, int]]] = field(default_factory=list)
    points: list[Points] = field(default_factory=list)
    rectangles: Areas = field(default_factory=list)
    orphans: Points = field(default_factory=list)
    foreground: Points = field(default_factory=list)
    background: Points = field(default_factory=list)
    found_rectangles: Areas = field(default_factory=list)
    labels: list[tuple[int, int]] | None = None  # an object, and how many pixels

    def content(self) -> bytes:
        out = io.BytesIO()

        def put(form: str, *values: Any) -> None:
            out.write(struct.pack("<" + form, *values))

        def put_all(form: str, rows: Any) -> None:
            put("I", len(rows))
            for row in rows:
                put(form, *row)

        put("Bii", self.kind, *self.size)
        put("B4i", self.method, *self.area)
        put("BiIBB", self.decompose, self.feathering, self.replacement, self.finds_strokes, self.publishes_strokes)
        put("idi", self.objects, self.precision, self.iterations)
        put_all("B4i", [(kind, *bounds) for kind, bounds in self.assumed])
        put("I", len(self.points))
        for points in self.points:
            put_all("2i", points)
        put_all("4i", self.rectangles)
        put_all("2i", self.orphans)
        put_all("2i", self.foreground)
        put_all("2i", self.background)
        put_all("4i", self.found_rectangles)
        put("B", self.labels is not None)
        for label, run in self.labels or []:
            put("BI", label, run)
        return out.getvalue()

    def data(self) -> bytes:
        return with_checksum(MARK + self.content())


def with_checksum(data: bytes) -> bytes:
    return data + struct.pack("<I", zlib.crc32(data))


def parsed(data: bytes) -> SessionFile:
    assert data.startswith(MARK) and data == with_checksum(data[:-4])
    rest = io.BytesIO(data[len(MARK):-4])

    def get(form: str) -> Any:
        return struct.unpack("<" + form, rest.read(struct.calcsize("<" + form)))

    def get_all(form: str) -> Any:
        return [get(form) for _ in range(get("I")[0])]

    kind, *size = get("Bii")
    method, *area = get("B4i")
    found = SessionFile(kind, tuple(size), method, tuple(area), *get("BiIBB"), *get("idi"))
    found.assumed = [(row[0], row[1:]) for row in get_all("B4i")]
    found.points = [get_all("2i") for _ in range(get("I")[0])]
    found.rectangles, found.orphans = get_all("4i"), get_all("2i")
    found.foreground, found.background, found.found_rectangles = get_all("2i"), get_all("2i"), get_all("4i")
    if get("B")[0]:
        found.labels = []
        while sum(run for _, run in found.labels) < area[2] * area[3]:
            found.labels.append(get("BI"))
    assert rest.read() == b""
    return found


def saved(session: IMaskingSession) -> SessionFile:
    file = io.BytesIO()
    session.save(file)
    found = parsed(file.getvalue())
    assert found.data() == file.getvalue()
    return found


def loaded(data: bytes) -> IMaskingSession:
    return ImageMasking(image(PICTURE)).load_session(io.BytesIO(data))


def runs(labels: Any) -> list[tuple[int, int]]:
    flat = np.asarray(labels).ravel()
    starts = np.flatnonzero(np.diff(flat, prepend=-1))
    return [(int(flat[start]), int(end - start)) for start, end in zip(starts, [*starts[1:], len(flat)], strict=True)]


# ---- What is written

def test_a_file_has_what_the_options_say() -> None:
    options, arguments = AutoMaskingGraphCutOptions(), AutoMaskingArgs()
    options.calculate_default_strokes, options.feathering_radius, options.decompose = True, 5, False
    options.masking_area, options.background_replacement_color = Rectangle(3, 2, 80, 64), Color.from_argb(9, 8, 7, 6)
    options.assumed_objects = [AssumedObjectData(DetectedObjectType.HUMAN, Rectangle(23, 18, 34, 36)),
                               AssumedObjectData(DetectedObjectType.OTHER, Rectangle(0, 0, 20, 30))]
    arguments.precision, arguments.max_iteration_number = 0.125, 300
    arguments.objects_points = [known.points(~OBJECT & known.inside(3, 2, 80, 64), 3), known.points(OBJECT, 2)]
    arguments.objects_rectangles = [Rectangle(20, 15, 40, 41)]
    arguments.orphaned_points = known.points(known.inside(70, 50, 5, 5), 2)
    options.args = arguments
    session = ImageMasking(image(PICTURE)).create_session(options)

    def places(points: Any) -> Points:
        return [(point.x - 3, point.y - 2) for point in points]

    before = SessionFile(2, (WIDTH, HEIGHT), int(SegmentationMethod.GRAPH_CUT), (3, 2, 80, 64), 0, 5, 0x09080706, 1, 1,
                         2, 0.125, 300)
    before.assumed = [(int(DetectedObjectType.HUMAN), (20, 16, 34, 36)),
                      (int(DetectedObjectType.OTHER), (0, 0, 17, 28))]  # the part inside of the area
    before.points = [places(points) for points in arguments.objects_points]
    before.rectangles, before.orphans = [(17, 13, 40, 41)], places(arguments.orphaned_points)
    assert saved(session) == before
    result = session.decompose()
    found = AutoMaskingGraphCutOptions._cast_to(result.MASKING_OPTIONS).value
    after = replace(before, foreground=places(found.default_foreground_strokes),
                    background=places(found.default_background_strokes),
                    found_rectangles=[(20, 16, 34, 36), (0, 0, 17, 28)])
    assert after.foreground and after.background
    written = saved(session)
    assert replace(written, labels=None) == after
    assert written.labels is not None and {label for label, _ in written.labels} == {0, 1}
    assert all(a[0] != b[0] for a, b in zip(written.labels, written.labels[1:], strict=False))


@pytest.mark.parametrize("method", [SegmentationMethod.K_MEANS, SegmentationMethod.FUZZY_C_MEANS,
                                    SegmentationMethod.WATERSHED])
@pytest.mark.parametrize("kind", [MaskingOptions, GraphCutMaskingOptions])
def test_a_file_has_the_class_and_the_method(method: SegmentationMethod, kind: Any) -> None:
    options, arguments = kind(), AutoMaskingArgs()
    options.method, options.args, arguments.number_of_objects = method, arguments, 3
    arguments.objects_points = [[], known.points(OBJECT, 4)]
    found = saved(ImageMasking(image(PICTURE)).create_session(options))
    feathering = 0 if kind is MaskingOptions else options.feathering_radius
    assert found == SessionFile(
        [MaskingOptions, GraphCutMaskingOptions].index(kind), method=int(method), objects=3, feathering=feathering,
        precision=arguments.precision, iterations=arguments.max_iteration_number,
        points=[[], [(point.x, point.y) for point in known.points(OBJECT, 4)]])


def test_a_mask_by_hand_is_written_as_it_was_drawn() -> None:
    options, arguments = MaskingOptions(), ManualMaskingArgs()
    arguments.mask = known.rectangles((5, 5, 10, 10), (90, 70, 9, 9))
    options.method, options.args = SegmentationMethod.MANUAL, arguments
    found = saved(ImageMasking(image(PICTURE)).create_session(options))
    labels = known.inside(5, 5, 10, 10) | known.inside(90, 70, 9, 9)
    assert found == SessionFile(0, method=int(SegmentationMethod.MANUAL), labels=runs(labels.astype(int)))


# ---- What is read

def test_labels_are_those_of_the_file() -> None:
    """Also where a run goes on in the next line, and up to the greatest number of objects."""
    labels = np.zeros((20, 30), int)
    labels[3:5] = 1
    labels[7, 28:] = labels[8, :3] = 2
    labels[12:, 11:] = 254
    file = SessionFile(kind=1, area=(50, 40, 30, 20), objects=255, labels=runs(labels))
    result = loaded(file.data()).decompose()
    whole = np.zeros((HEIGHT, WIDTH), int)
    whole[40:60, 50:80] = labels
    found = masks(result)
    assert list(found) == [0, 1, 2, 254]
    for number, mask in found.items():
        assert (mask == np.where(whole == number, 255, 0)).all(), number


@pytest.mark.parametrize("file", [
    SessionFile(kind=0), SessionFile(kind=1, feathering=255), SessionFile(decompose=0, objects=255),
    SessionFile(kind=2, method=int(SegmentationMethod.GRAPH_CUT), finds_strokes=1, publishes_strokes=1,
                assumed=[(0, (1, 2, 3, 4)), (1, (0, 0, WIDTH, HEIGHT))]),
    SessionFile(replacement=0x7F010203, precision=0.0, iterations=1), SessionFile(iterations=2**31 - 1),
    SessionFile(area=(95, 71, 1, 1), points=[[(0, 0)], []]),
    SessionFile(points=[[(0, 0), (WIDTH - 1, HEIGHT - 1)], [(5, 6)]], rectangles=[(WIDTH - 2, 0, 2, HEIGHT)],
                orphans=[(3, 4)], foreground=[(1, 1)], background=[(2, 2)], found_rectangles=[(0, 1, 2, 3)]),
    SessionFile(method=int(SegmentationMethod.WATERSHED), orphans=[(3, 4)], objects=7),
    SessionFile(method=int(SegmentationMethod.MANUAL), labels=[(1, WIDTH * HEIGHT)]),
], ids=lambda file: f"{file.kind}-{file.method}-{file.objects}")
def test_a_session_is_written_as_it_was_read(file: SessionFile) -> None:
    assert saved(loaded(file.data())) == file


def test_options_of_a_loaded_session() -> None:
    file = SessionFile(kind=2, method=int(SegmentationMethod.GRAPH_CUT), area=(10, 20, 30, 40), decompose=0,
                       feathering=9, replacement=0x11223344, publishes_strokes=1, foreground=[(1, 2)],
                       background=[(3, 4)], found_rectangles=[(5, 6, 7, 8)], labels=[(0, 600), (1, 600)])
    options = AutoMaskingGraphCutOptions._cast_to(loaded(file.data()).decompose().MASKING_OPTIONS).value
    assert (options.method, options.decompose, options.feathering_radius) == (SegmentationMethod.GRAPH_CUT, False, 9)
    assert options.masking_area == Rectangle(10, 20, 30, 40) and options.calculate_default_strokes is True
    assert options.background_replacement_color == Color.from_argb(0x11, 0x22, 0x33, 0x44)
    assert [(p.x, p.y) for p in options.default_foreground_strokes] == [(11, 22)]
    assert [(p.x, p.y) for p in options.default_background_strokes] == [(13, 24)]
    assert list(options.default_objects_rectangles) == [Rectangle(15, 26, 7, 8)]
    silent = replace(file, publishes_strokes=0)
    options = AutoMaskingGraphCutOptions._cast_to(loaded(silent.data()).decompose().MASKING_OPTIONS).value
    assert options.calculate_default_strokes is False and options.default_foreground_strokes is None
    empty = replace(file, foreground=[], background=[], found_rectangles=[])
    options = AutoMaskingGraphCutOptions._cast_to(loaded(empty.data()).decompose().MASKING_OPTIONS).value
    assert options.calculate_default_strokes is True and options.default_foreground_strokes is None


# ---- What is refused

AREAS = [(-1, 0, 5, 5), (0, -1, 5, 5), (0, 0, 0, 5), (0, 0, 5, 0), (0, 0, -1, 5), (0, 0, 5, -1), (92, 0, 5, 5),
         (0, 68, 5, 5), (2**31 - 1, 0, 5, 5), (0, 2**31 - 1, 5, 5), (0, 0, 97, 1), (0, 0, 1, 73)]
PLACES = [(-1, 0), (0, -1), (WIDTH, 0), (0, HEIGHT)]
OUTSIDE, NO_PLACE = "an area is outside of its picture.", "a point is outside of its area."
MISFIT = "its labels do not fit its area."
ALL = WIDTH * HEIGHT
GRAPH_CUT = int(SegmentationMethod.GRAPH_CUT)

WRONG: dict[str, tuple[SessionFile, str]] = {
    "class": (SessionFile(kind=3), "its options are of an unknown class."),
    "method": (SessionFile(method=GRAPH_CUT + 1), "its method is unknown."),
    **{f"area {area}": (SessionFile(area=area), OUTSIDE) for area in AREAS},
    **{f"assumed {area}": (SessionFile(assumed=[(0, area)]), OUTSIDE) for area in AREAS},
    **{f"rectangle {area}": (SessionFile(rectangles=[area]), OUTSIDE) for area in AREAS},
    **{f"found {area}": (SessionFile(found_rectangles=[area]), OUTSIDE) for area in AREAS},
    **{f"point {place}": (SessionFile(points=[[], [place]]), NO_PLACE) for place in PLACES},
    **{f"orphan {place}": (SessionFile(orphans=[place]), NO_PLACE) for place in PLACES},
    **{f"foreground {place}": (SessionFile(foreground=[place]), NO_PLACE) for place in PLACES},
    **{f"background {place}": (SessionFile(background=[place]), NO_PLACE) for place in PLACES},
    "a place of the image and not of the area": (SessionFile(area=(0, 0, 9, 9), orphans=[(9, 0)]), NO_PLACE),
    "published": (SessionFile(kind=1, publishes_strokes=1), "its options have no default strokes."),
    "feathering": (SessionFile(kind=0, feathering=1), "its options have no feathering."),
    "label": (SessionFile(labels=[(2, ALL)]), MISFIT),
    "no run": (SessionFile(labels=[(0, 0), (0, ALL)]), MISFIT),
    "long run": (SessionFile(labels=[(0, 5), (1, ALL - 4)]), MISFIT),
    "short run": (SessionFile(labels=[(0, ALL - 1)]), "it ends too early."),
    "more": (SessionFile(labels=[(0, ALL), (0, 1)]), "more bytes stand at its end."),
    "no mask": (SessionFile(method=int(SegmentationMethod.MANUAL)), "its mask is missing."),
}


@pytest.mark.parametrize("name", WRONG)
def test_a_file_that_makes_no_sense_is_refused(name: str) -> None:
    file, reason = WRONG[name]
    with managed_error("InvalidDataException", f"The data is not a masking session: {reason}"):
        loaded(file.data())


SETTINGS: dict[str, tuple[SessionFile, str, str]] = {
    "one object": (SessionFile(objects=1), "ArgumentOutOfRangeException",
                   "The value 1 is not between 2 and 255, the background included."),
    "many objects": (SessionFile(objects=256), "ArgumentOutOfRangeException",
                     "The value 256 is not between 2 and 255, the background included."),
    "objects of a cut": (SessionFile(method=GRAPH_CUT, objects=3), "NotSupportedException",
                         "The value 3 of AutoMaskingArgs.NumberOfObjects is not supported with the method GraphCut"),
    "precision": (SessionFile(precision=-0.001), "ArgumentOutOfRangeException", "'precision'"),
    "no number": (SessionFile(precision=float("nan")), "ArgumentOutOfRangeException", "'precision'"),
    "endless": (SessionFile(precision=float("inf")), "ArgumentOutOfRangeException", "'precision'"),
    "iterations": (SessionFile(iterations=0), "ArgumentOutOfRangeException", "The value 0 is not positive."),
    "points": (SessionFile(points=[[], [], []]), "ArgumentException",
               "Points or rectangles are given for 3 objects, the background included, and number_of_objects is 2."),
    "rectangles": (SessionFile(rectangles=[(0, 0, 1, 1)] * 2), "ArgumentException",
                   "Points or rectangles are given for 3 objects, the background included, and number_of_objects is 2"),
    "watershed": (SessionFile(method=int(SegmentationMethod.WATERSHED)), "ArgumentException",
                  "A watershed begins at objects_points or objects_rectangles, and there are none."),
    "feathering": (SessionFile(feathering=256), "ArgumentOutOfRangeException",
                   "The value 256 is not between 0 and 255."),
    "negative feathering": (SessionFile(feathering=-1), "ArgumentOutOfRangeException",
                            "The value -1 is not between 0 and 255."),
    "width": (SessionFile(size=(WIDTH + 1, HEIGHT)), "ArgumentException",
              "The session belongs to an image of 97 by 72 pixels, and this one is 96 by 72."),
    "height": (SessionFile(size=(WIDTH, HEIGHT - 1)), "ArgumentException",
               "The session belongs to an image of 96 by 71 pixels, and this one is 96 by 72."),
}


@pytest.mark.parametrize("name", SETTINGS)
def test_settings_of_a_file_are_checked_as_options_are(name: str) -> None:
    file, error, text = SETTINGS[name]
    with managed_error(error, text):
        loaded(file.data())


def test_rectangles_of_a_cut_stand_around_one_object() -> None:
    file = SessionFile(method=GRAPH_CUT, rectangles=[(0, 0, 9, 9)] * 5, points=[[], [(1, 1)]])
    assert saved(loaded(file.data())) == file


FULL = SessionFile(kind=2, method=GRAPH_CUT, assumed=[(1, (0, 0, 5, 5))], points=[[(1, 1)], [(2, 2)]],
                   rectangles=[(0, 0, 3, 3)], orphans=[(9, 9)], foreground=[(1, 2)], background=[(3, 4)],
                   found_rectangles=[(1, 1, 1, 1)], labels=[(0, ALL - 7), (1, 7)])


def test_a_file_that_ends_too_early_is_refused_wherever_it_ends() -> None:
    content, masking = FULL.content(), ImageMasking(image(PICTURE))
    for end in range(len(content)):
        with managed_error("InvalidDataException", "The data is not a masking session: it ends too early."):
            masking.load_session(io.BytesIO(with_checksum(MARK + content[:end])))


def test_a_count_that_the_file_cannot_have_is_refused() -> None:
    """Where a list has its number of elements, another one says more than there are bytes."""
    parts: dict[str, Any] = {"assumed": [(1, (0, 0, 5, 5))], "points": [[(1, 1)], [(2, 2)]],
                             "rectangles": [(0, 0, 3, 3)], "orphans": [(9, 9)], "foreground": [(1, 2)],
                             "background": [(3, 4)], "found_rectangles": [(1, 1, 1, 1)]}
    masking = ImageMasking(image(PICTURE))
    for name, value in parts.items():
        without = replace(FULL, **{name: []}).content()
        content = FULL.content()
        at = next(i for i in range(len(content)) if content[i] != without[i])
        assert struct.unpack_from("<I", content, at) == (len(value),)
        for count in (2**31, 2**32 - 1, 10**6):
            wrong = content[:at] + struct.pack("<I", count) + content[at + 4:]
            with managed_error("InvalidDataException", "it ends too early."):
                masking.load_session(io.BytesIO(with_checksum(MARK + wrong)))


def test_other_files_are_told_by_their_mark_and_their_checksum() -> None:
    data = FULL.data()
    others = {b"": "its first bytes are others.", MARK + b"123": "its first bytes are others.",
              b"X" + data[1:]: "its first bytes are others.", MARK.replace(b"1", b"2") + data[len(MARK):]:
              "its first bytes are others.", MARK + b"1234": "its checksum is another one.",
              data[:-1] + bytes([data[-1] ^ 128]): "its checksum is another one.",
              data[:-4] + data[-1:-5:-1]: "its checksum is another one."}
    for other, reason in others.items():
        with managed_error("InvalidDataException", f"The data is not a masking session: {reason}"):
            loaded(other)
