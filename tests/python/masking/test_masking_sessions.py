"""Sessions of masking: improving what was found, and files that a session goes on from."""

from __future__ import annotations

import io
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Color, Rectangle
from zelmor.imaging.imageoptions import JpegOptions
from zelmor.imaging.masking import IMaskingSession, ImageMasking
from zelmor.imaging.masking.options import (
    AssumedObjectData, AutoMaskingArgs, AutoMaskingGraphCutOptions, DetectedObjectType, GraphCutMaskingOptions,
    ManualMaskingArgs, MaskingOptions, SegmentationMethod)

from support import masks as known
from support.image_oracles import managed_error
from support.masks import disk, image, inside, masks, noisy, overlap

RED = (200, 40, 50)
LEFT, RIGHT = disk(25, 36, 14), disk(70, 30, 12)
PICTURE = noisy({RED: LEFT | RIGHT})


def arguments(**values: Any) -> AutoMaskingArgs:
    found = AutoMaskingArgs()
    for name, value in values.items():
        setattr(found, name, value)
    return found


def cut(**values: Any) -> GraphCutMaskingOptions:
    options = GraphCutMaskingOptions()
    options.args, options.feathering_radius, options.decompose = arguments(**values), 0, False
    return options


def by_hand(*corners: tuple[int, int, int, int]) -> ManualMaskingArgs:
    found = ManualMaskingArgs()
    found.mask = known.rectangles(*corners)
    return found


def same(first: Any, second: Any) -> bool:
    a, b = masks(first), masks(second)
    return a.keys() == b.keys() and all((a[number] == b[number]).all() for number in a)


def test_points_improve_what_was_found() -> None:
    session = ImageMasking(image(PICTURE)).create_session(
        cut(objects_points=[known.points(~(LEFT | RIGHT)), known.points(LEFT | RIGHT)]))
    assert type(session) is IMaskingSession
    first = masks(session.decompose())[1] == 255
    assert overlap(first, LEFT | RIGHT) > 0.98
    better = masks(session.improve_decomposition(arguments(objects_points=[known.points(RIGHT, 60)])))[1] == 255
    assert not any(better[point.y, point.x] for point in known.points(RIGHT, 60))
    assert overlap(better & ~RIGHT, LEFT) > 0.98
    # Points that were given before stay, and orphans leave their object.
    best = session.improve_decomposition(arguments(orphaned_points=known.points(RIGHT, 500)))
    assert overlap(masks(best)[1] == 255, LEFT) > 0.98
    assert same(session.decompose(), best)


def test_a_session_keeps_the_settings_that_it_was_made_with() -> None:
    options = cut(objects_rectangles=[known.around(25, 36, 14)])
    session = ImageMasking(image(PICTURE)).create_session(options)
    options.args = arguments(objects_rectangles=[known.around(70, 30, 12)])
    options.masking_area = Rectangle(0, 0, 5, 5)
    assert overlap(masks(session.decompose())[1] == 255, LEFT) > 0.98


def test_another_path_replaces_a_mask_by_hand() -> None:
    options = MaskingOptions()
    options.method, options.args = SegmentationMethod.MANUAL, by_hand((5, 5, 10, 10))
    session = ImageMasking(image(PICTURE)).create_session(options)
    assert (masks(session.decompose())[1] == np.where(inside(5, 5, 10, 10), 255, 0)).all()
    better = masks(session.improve_decomposition(by_hand((50, 5, 10, 10))))
    assert (better[1] == np.where(inside(50, 5, 10, 10), 255, 0)).all()
    with managed_error("ArgumentException", "ManualMaskingArgs"):
        session.improve_decomposition(arguments())
    with managed_error("ArgumentNullException", "masking_arguments"):
        session.improve_decomposition(None)


def test_a_changed_picture_is_separated_anew() -> None:
    picture = image(PICTURE)
    session = ImageMasking(picture).create_session(cut(objects_rectangles=[Rectangle(2, 2, 92, 68)]))
    assert masks(session.decompose())[1][30, 70] == 255
    other = image(noisy({RED: LEFT}))
    picture.save_argb_32_pixels(picture.bounds, other.load_argb_32_pixels(other.bounds))
    assert masks(session.decompose())[1][30, 70] == 0
    picture.crop(Rectangle(0, 0, 20, 20))
    with managed_error("InvalidOperationException", "smaller than the masking area"):
        session.decompose()


def test_clusters_are_improved_from_where_they_were() -> None:
    options = MaskingOptions()
    options.method = SegmentationMethod.K_MEANS
    options.args = arguments(number_of_objects=2)
    session = ImageMasking(image(PICTURE)).create_session(options)
    first = session.decompose()
    better = session.improve_decomposition(arguments(number_of_objects=2, orphaned_points=known.points(RIGHT, 3)))
    found, before = masks(better)[1], masks(first)[1]
    changed = {(x, y) for y, x in zip(*np.nonzero(found != before))}
    assert changed == {(point.x, point.y) for point in known.points(RIGHT, 3)}


# ---- Files

def hand_session() -> IMaskingSession:
    options = MaskingOptions()
    options.method, options.args, options.masking_area = (
        SegmentationMethod.MANUAL, by_hand((5, 5, 10, 10), (30, 8, 9, 9)), Rectangle(2, 2, 70, 50))
    options.background_replacement_color = Color.from_argb(128, 1, 2, 3)
    return ImageMasking(image(PICTURE)).create_session(options)


def cut_session() -> IMaskingSession:
    options = AutoMaskingGraphCutOptions()
    options.calculate_default_strokes, options.feathering_radius = True, 2
    options.assumed_objects = [AssumedObjectData(DetectedObjectType.HUMAN, known.around(25, 36, 14))]
    options.args = arguments(precision=0.5, max_iteration_number=7, orphaned_points=known.points(RIGHT, 5))
    return ImageMasking(image(PICTURE)).create_session(options)


def cluster_session() -> IMaskingSession:
    options = GraphCutMaskingOptions()
    options.method, options.args = SegmentationMethod.FUZZY_C_MEANS, arguments(number_of_objects=3)
    return ImageMasking(image(PICTURE)).create_session(options)


SESSIONS = {"hand": hand_session, "cut": cut_session, "clusters": cluster_session}


@pytest.mark.parametrize("name", SESSIONS)
@pytest.mark.parametrize("done", [False, True], ids=["before", "after"])
def test_a_session_goes_on_from_its_file(name: str, done: bool, tmp_path: Path) -> None:
    session = SESSIONS[name]()
    if done:
        session.decompose()
    path, file = tmp_path / "session", io.BytesIO()
    session.save(str(path))
    session.save(file)
    assert path.read_bytes() == file.getvalue()
    masking = ImageMasking(image(PICTURE))
    expected = session.decompose()
    streams = [masking.load_session(str(path)), masking.load_session(io.BytesIO(file.getvalue())),
               masking.load_session_from_stream(io.BytesIO(file.getvalue()))]
    for loaded in streams:
        found = loaded.decompose()
        assert same(found, expected)
        options, was = found.MASKING_OPTIONS, expected.MASKING_OPTIONS
        assert type(options) is type(was) and options.method == was.method and options.decompose == was.decompose
        assert options.background_replacement_color == was.background_replacement_color
        again = io.BytesIO()
        loaded.save(again)
        assert done is False or again.getvalue() == file.getvalue()


def test_a_loaded_session_is_improved_as_the_saved_one() -> None:
    session, file = cut_session(), io.BytesIO()
    session.decompose()
    session.save(file)
    loaded = ImageMasking(image(PICTURE)).load_session(io.BytesIO(file.getvalue()))
    more = arguments(objects_points=[[], known.points(RIGHT, 40)])
    assert same(loaded.improve_decomposition(more), session.improve_decomposition(more))


def test_layers_of_a_loaded_session_are_written_as_is_said_then() -> None:
    session, file = hand_session(), io.BytesIO()
    session.save(file)
    result = ImageMasking(image(PICTURE)).load_session(io.BytesIO(file.getvalue())).decompose()
    assert result.MASKING_OPTIONS.export_options is None
    result.MASKING_OPTIONS.export_options = JpegOptions()
    assert result.layers[0].get_image().has_alpha is False


def test_default_strokes_come_back_with_the_session() -> None:
    session, file = cut_session(), io.BytesIO()
    expected = session.decompose().MASKING_OPTIONS
    session.save(file)
    loaded = ImageMasking(image(PICTURE)).load_session(io.BytesIO(file.getvalue())).decompose().MASKING_OPTIONS
    found = AutoMaskingGraphCutOptions._cast_to(loaded).value
    was = AutoMaskingGraphCutOptions._cast_to(expected).value
    assert list(found.default_foreground_strokes) == list(was.default_foreground_strokes)
    assert list(found.default_objects_rectangles) == list(was.default_objects_rectangles)
    assert found.feathering_radius == was.feathering_radius and found.calculate_default_strokes


def saved() -> bytes:
    session, file = hand_session(), io.BytesIO()
    session.save(file)
    return file.getvalue()


def test_damage_in_a_file_is_found() -> None:
    data, masking = saved(), ImageMasking(image(PICTURE))
    damaged = [data[:at] + bytes([data[at] ^ 1]) + data[at + 1:] for at in range(0, len(data), 7)]
    damaged += [data[:at] for at in range(0, len(data), 11)] + [data + b"\0", b"", b"no session"]
    for each in damaged:
        with managed_error("InvalidDataException", "The data is not a masking session"):
            masking.load_session(io.BytesIO(each))


def test_a_session_belongs_to_images_of_its_size(tmp_path: Path) -> None:
    other = ImageMasking(image(PICTURE[:50]))
    with managed_error("ArgumentException", "an image of 96 by 72 pixels, and this one is 96 by 50"):
        other.load_session(io.BytesIO(saved()))
    with managed_error("FileNotFoundException"):
        other.load_session(str(tmp_path / "missing"))
    with managed_error("ArgumentNullException"):
        other.load_session_from_stream(None)


def test_a_session_ends_with_its_block() -> None:
    with hand_session() as session:
        session.decompose()
    for use in (session.decompose, session.decompose_async, lambda: session.save(io.BytesIO()),
                lambda: session.improve_decomposition(by_hand((1, 1, 5, 5)))):
        with managed_error("ObjectDisposedException"):
            use()


def test_strokes_that_are_found_need_no_arguments() -> None:
    """Without them the settings are those of new ones, which the file of a session shows."""
    def file(args: AutoMaskingArgs | None) -> bytes:
        options = AutoMaskingGraphCutOptions()
        options.calculate_default_strokes, options.feathering_radius, options.args = True, 0, args
        target = io.BytesIO()
        ImageMasking(image(PICTURE)).create_session(options).save(target)
        return target.getvalue()

    assert file(None) == file(AutoMaskingArgs())
    assert file(None) != file(arguments(precision=0.0))
