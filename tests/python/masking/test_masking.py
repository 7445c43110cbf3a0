"""Masking: which pixels belong to which object, beside areas that are known and masks that NumPy computes."""

from __future__ import annotations

import io
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Color, Image, Point, RasterImage, Rectangle
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.imageoptions import JpegOptions, PngOptions
from zelmor.imaging.masking import ImageMasking
from zelmor.imaging.masking.options import (
    AssumedObjectData, AutoMaskingArgs, AutoMaskingGraphCutOptions, DetectedObjectType, GraphCutMaskingOptions,
    ManualMaskingArgs, MaskingOptions, SegmentationMethod)
from zelmor.imaging.memorymanagement import Configuration
from zelmor.imaging.multithreading import InterruptMonitor

from support import masks as known
from support.child import run_child
from support.image_oracles import managed_error, read, write_16_bits
from support.masks import HEIGHT, WIDTH, argb, disk, image, inside, mask, masks, noisy, overlap

RED, GREEN = (200, 40, 50), (60, 190, 70)
DISK = (48, 36, 20)


def manual(path: Any, **settings: Any) -> MaskingOptions:
    options, arguments = MaskingOptions(), ManualMaskingArgs()
    arguments.mask = path
    options.method, options.args = SegmentationMethod.MANUAL, arguments
    for name, value in settings.items():
        setattr(options, name, value)
    return options


def automatic(method: SegmentationMethod = SegmentationMethod.GRAPH_CUT, kind: Any = GraphCutMaskingOptions,
              feathering: int = 0, **arguments: Any) -> Any:
    options, found = kind(), AutoMaskingArgs()
    options.method = method
    if kind is not MaskingOptions:
        options.feathering_radius = feathering
    for name, value in arguments.items():
        setattr(found, name, value)
    options.args = found
    return options


# ---- Masks by hand

def test_a_mask_by_hand_cuts_its_figures_out() -> None:
    pixels = noisy({})
    with ImageMasking(image(pixels)).decompose(manual(known.rectangles((10, 5, 30, 20), (60, 40, 20, 25)))) as result:
        assert result.length == len(result) == 3
        assert [layer.object_number for layer in result] == [0, 1, 2]
        assert {str(layer.get_type()) for layer in result} == {"Zelmor.Imaging.Masking.Result.IMaskingLayer"}
        found = masks(result)
        first, second = inside(10, 5, 30, 20), inside(60, 40, 20, 25)
        for number, area in {0: ~(first | second), 1: first, 2: second}.items():
            assert (found[number] == np.where(area, 255, 0)).all()
            layer = argb(result.layers[number].get_image())
            assert (layer[..., 0] == np.where(area, 255, 0)).all()
            assert (layer[area][:, 1:] == pixels[area]).all()


def test_without_decompose_all_figures_are_one_object() -> None:
    result = ImageMasking(image(noisy({}))).decompose(
        manual(known.rectangles((10, 5, 30, 20), (60, 40, 20, 25)), decompose=False))
    found = masks(result)
    assert list(found) == [0, 1]
    assert (found[1] == np.where(inside(10, 5, 30, 20) | inside(60, 40, 20, 25), 255, 0)).all()


def test_figures_that_touch_are_one_part() -> None:
    result = ImageMasking(image(noisy({}))).decompose(manual(known.rectangles((10, 5, 30, 20), (40, 25, 9, 9))))
    assert list(masks(result)) == [0, 1]  # at a corner


def test_pixels_outside_of_the_masking_area_are_background() -> None:
    area = Rectangle(20, 10, 40, 30)
    result = ImageMasking(image(noisy({}))).decompose(manual(known.rectangles((10, 5, 30, 20)), masking_area=area))
    found = masks(result)
    both = inside(10, 5, 30, 20) & inside(20, 10, 40, 30)
    assert (found[1] == np.where(both, 255, 0)).all() and (found[0] == np.where(both, 0, 255)).all()


def test_a_mask_without_a_pixel_leaves_the_background_alone() -> None:
    result = ImageMasking(image(noisy({}))).decompose(manual(known.rectangles((WIDTH + 5, 5, 30, 20))))
    assert list(masks(result)) == [0] and (masks(result)[0] == 255).all()


def test_the_result_keeps_the_picture_as_it_was() -> None:
    pixels = noisy({})
    found = image(pixels)
    result = ImageMasking(found).decompose(manual(known.rectangles((10, 5, 30, 20))))
    found.grayscale()
    found.crop(Rectangle(0, 0, 5, 5))
    layer = argb(result.layers[1].get_image())
    area = inside(10, 5, 30, 20)
    assert (layer[area][:, 1:] == pixels[area]).all()


def test_a_disposed_result_gives_no_layers() -> None:
    result = ImageMasking(image(noisy({}))).decompose(manual(known.rectangles((10, 5, 30, 20))))
    layer = result.layers[0]
    result.dispose() if hasattr(result, "dispose") else result.__exit__(None, None, None)
    with managed_error("ObjectDisposedException"):
        result.length
    with managed_error("ObjectDisposedException"):
        layer.get_image()


def test_the_result_knows_its_options() -> None:
    options = manual(known.rectangles((10, 5, 30, 20)))
    assert ImageMasking(image(noisy({}))).decompose(options).MASKING_OPTIONS == options


# ---- Graph cuts

def cut_disk(**arguments: Any) -> Any:
    picture = noisy({RED: disk(*DISK)})
    return ImageMasking(image(picture)).decompose(automatic(**arguments))


def test_a_graph_cut_finds_the_object_of_a_rectangle() -> None:
    found = masks(cut_disk(objects_rectangles=[known.around(*DISK)]))
    assert list(found) == [0, 1]
    assert overlap(found[1] == 255, disk(*DISK)) > 0.99
    assert (found[0] + found[1] == 255).all()


def test_a_graph_cut_gives_the_same_every_time() -> None:
    first, second = (masks(cut_disk(objects_rectangles=[known.around(*DISK)])) for _ in range(2))
    assert first.keys() == second.keys() and all((first[i] == second[i]).all() for i in first)


def test_a_graph_cut_starts_at_points() -> None:
    area = disk(*DISK)
    found = masks(cut_disk(objects_points=[known.points(~area), known.points(area)]))
    assert overlap(found[1] == 255, area) > 0.99


def test_without_points_of_the_background_it_is_at_the_edge() -> None:
    area = disk(*DISK)
    found = masks(cut_disk(objects_points=[[], known.points(area)]))
    assert overlap(found[1] == 255, area) > 0.99


def test_two_objects_are_two_parts() -> None:
    left, right = disk(25, 36, 14), disk(70, 30, 12)
    picture = image(noisy({RED: left | right}))
    options = automatic(objects_rectangles=[known.around(25, 36, 14), known.around(70, 30, 12)])
    found = masks(ImageMasking(picture).decompose(options))
    by_size = sorted((number for number in found if number), key=lambda number: -(found[number] == 255).sum())[:2]
    assert overlap(found[by_size[0]] == 255, left) > 0.98 and overlap(found[by_size[1]] == 255, right) > 0.98
    options.decompose = False
    assert list(masks(ImageMasking(picture).decompose(options))) == [0, 1]


def test_orphaned_points_belong_to_no_object() -> None:
    left, right = disk(25, 36, 14), disk(70, 30, 12)
    picture = image(noisy({RED: left | right}))
    everywhere = Rectangle(2, 2, WIDTH - 4, HEIGHT - 4)
    options = automatic(objects_rectangles=[everywhere], orphaned_points=known.points(right, 80))
    options.decompose = False
    found = masks(ImageMasking(picture).decompose(options))[1]
    assert all(found[point.y, point.x] == 0 for point in known.points(right, 80))


def test_no_arguments_stand_for_an_object_in_the_middle() -> None:
    options = GraphCutMaskingOptions()
    options.feathering_radius, options.decompose = 0, False
    picture = noisy({RED: disk(*DISK)})
    found = masks(ImageMasking(image(picture)).decompose(options))
    assert overlap(found[1] == 255, disk(*DISK)) > 0.98


def test_assumed_objects_give_strokes_that_can_be_used_again() -> None:
    picture, area = image(noisy({RED: disk(*DISK)})), disk(*DISK)
    options = AutoMaskingGraphCutOptions()
    assert options.default_foreground_strokes is None and options.calculate_default_strokes is False
    options.calculate_default_strokes, options.decompose, options.feathering_radius = True, False, 0
    bounds = known.around(*DISK)
    options.assumed_objects = [AssumedObjectData(DetectedObjectType.OTHER, bounds)]
    first = masks(ImageMasking(picture).decompose(options))[1]
    assert overlap(first == 255, area) > 0.99
    assert list(options.default_objects_rectangles) == [bounds]
    objects, background = list(options.default_foreground_strokes), list(options.default_background_strokes)
    assert objects and all(area[point.y, point.x] for point in objects)
    assert background and not any(area[point.y, point.x] for point in background)
    # They count as arguments from now on.
    options.calculate_default_strokes = False
    assert overlap(masks(ImageMasking(picture).decompose(options))[1] == 255, area) > 0.99
    again = automatic(objects_points=[background, objects], objects_rectangles=[bounds])
    assert overlap(masks(ImageMasking(picture).decompose(again))[1] == 255, area) > 0.99


def test_people_are_looked_for_in_the_middle_of_their_bounds() -> None:
    bounds = Rectangle(8, 4, 80, 64)
    # A bar in the middle, and another one at the side.
    picture = image(noisy({RED: inside(44, 8, 10, 56) | inside(12, 8, 10, 56)}))
    strokes = {}
    for kind in DetectedObjectType:
        options = AutoMaskingGraphCutOptions()
        options.calculate_default_strokes = True
        options.assumed_objects = [AssumedObjectData(kind, bounds)]
        ImageMasking(picture).decompose(options)
        strokes[kind] = [point.x for point in options.default_foreground_strokes]
    assert min(strokes[DetectedObjectType.HUMAN]) >= 44
    assert min(strokes[DetectedObjectType.OTHER]) < 30


def test_strokes_are_places_of_the_image_and_not_of_its_area() -> None:
    options = AutoMaskingGraphCutOptions()
    options.calculate_default_strokes, options.masking_area = True, Rectangle(20, 10, 60, 55)
    ImageMasking(image(noisy({RED: disk(*DISK)}))).decompose(options)
    assert all(disk(*DISK)[point.y, point.x] for point in options.default_foreground_strokes)
    assert {point.x for point in options.default_background_strokes} >= {20, 79}


@pytest.mark.parametrize(("width", "height"), [(5, 4), (2, 2), (3, 2), (2, 3), (5, 1), (1, 5), (1, 1), (6, 3)])
def test_the_edge_of_a_small_picture_is_its_background(width: int, height: int) -> None:
    """Every place of it once, clockwise from the corner."""
    pixels = np.full((height, width, 3), 40, np.uint8)
    pixels[height // 2, width // 2] = 220
    options = AutoMaskingGraphCutOptions()
    options.calculate_default_strokes = True
    options.assumed_objects = [AssumedObjectData(DetectedObjectType.OTHER, Rectangle(0, 0, width, height))]
    ImageMasking(image(pixels)).decompose(options)
    right, bottom = width - 1, height - 1
    corners = [(0, 0), (right, 0), (right, bottom), (0, bottom), (0, 0)]
    expected: list[tuple[int, int]] = []
    for (x, y), (to_x, to_y) in zip(corners, corners[1:], strict=False):
        steps = max(abs(to_x - x), abs(to_y - y))
        expected += [(x + (to_x - x) * i // steps, y + (to_y - y) * i // steps) for i in range(steps)]
    found = [(point.x, point.y) for point in options.default_background_strokes]
    assert found == list(dict.fromkeys(expected or [(0, 0)]))


# ---- Clusters

BLOBS = {RED: disk(25, 36, 14), GREEN: disk(70, 30, 12)}


@pytest.mark.parametrize("method", [SegmentationMethod.K_MEANS, SegmentationMethod.FUZZY_C_MEANS])
def test_clusters_are_the_areas_of_a_color(method: SegmentationMethod) -> None:
    result = ImageMasking(image(noisy(BLOBS))).decompose(
        automatic(method, MaskingOptions, number_of_objects=3, precision=0.01))
    found = masks(result)
    # The background has the most of the edge; the others are counted by their first pixels: the right disk is higher.
    assert (found[1] == np.where(BLOBS[GREEN], 255, 0)).all() and (found[2] == np.where(BLOBS[RED], 255, 0)).all()
    assert (found[0] == np.where(BLOBS[RED] | BLOBS[GREEN], 0, 255)).all()


def test_k_means_ends_where_each_pixel_is_nearest_to_the_mean_of_its_cluster() -> None:
    rng = np.random.default_rng(3)
    pixels = rng.integers(0, 256, (HEIGHT, WIDTH, 3), dtype=np.uint8)
    result = ImageMasking(image(pixels)).decompose(automatic(
        SegmentationMethod.K_MEANS, MaskingOptions, number_of_objects=5, precision=0.0, max_iteration_number=1000))
    found = masks(result)
    labels = np.argmax(np.stack([found[number] for number in sorted(found)]), 0)
    centers = np.stack([pixels[labels == number].mean(0) for number in range(5)])
    nearest = np.argmin(((pixels[:, :, None, :] - centers) ** 2).sum(-1), -1)
    assert (nearest == labels).all()


def test_fuzzy_clusters_end_at_the_means_that_their_shares_give() -> None:
    rng = np.random.default_rng(4)
    pixels = np.clip(rng.normal(0, 25, (HEIGHT, WIDTH, 3)) + rng.choice([60, 180], (HEIGHT, WIDTH, 1)), 0, 255)
    pixels = pixels.astype(np.uint8)
    result = ImageMasking(image(pixels)).decompose(automatic(
        SegmentationMethod.FUZZY_C_MEANS, MaskingOptions, number_of_objects=2, precision=0.0,
        max_iteration_number=300))
    labels = masks(result)[1] == 255
    colors = pixels.reshape(-1, 3).astype(float)
    centers = np.stack([colors[~labels.ravel()].mean(0), colors[labels.ravel()].mean(0)])
    for _ in range(300):
        distances = ((colors[:, None, :] - centers) ** 2).sum(-1) + 1e-300
        shares = (1 / distances) / (1 / distances).sum(1, keepdims=True)
        centers = ((shares ** 2).T @ colors) / (shares ** 2).sum(0)[:, None]
    nearest = np.argmin(((colors[:, None, :] - centers) ** 2).sum(-1), 1).reshape(HEIGHT, WIDTH)
    assert (nearest == labels).mean() > 0.999


def test_without_decompose_all_clusters_but_the_background_are_one_object() -> None:
    options = automatic(SegmentationMethod.K_MEANS, MaskingOptions, number_of_objects=3)
    options.decompose = False
    found = masks(ImageMasking(image(noisy(BLOBS))).decompose(options))
    assert list(found) == [0, 1]
    assert (found[1] == np.where(BLOBS[RED] | BLOBS[GREEN], 255, 0)).all()


def test_points_and_rectangles_say_which_cluster_has_which_number() -> None:
    options = automatic(SegmentationMethod.K_MEANS, MaskingOptions, number_of_objects=3,
                        objects_points=[[], [Point(25, 36)], [Point(70, 30)]])
    found = masks(ImageMasking(image(noisy(BLOBS))).decompose(options))
    assert overlap(found[1] == 255, BLOBS[RED]) > 0.99 and overlap(found[2] == 255, BLOBS[GREEN]) > 0.99
    options = automatic(SegmentationMethod.K_MEANS, MaskingOptions, number_of_objects=3,
                        objects_rectangles=[Rectangle(65, 25, 8, 8), Rectangle(20, 30, 8, 8)])
    found = masks(ImageMasking(image(noisy(BLOBS))).decompose(options))
    assert overlap(found[1] == 255, BLOBS[GREEN]) > 0.99 and overlap(found[2] == 255, BLOBS[RED]) > 0.99


def test_one_color_is_one_object() -> None:
    flat = np.full((HEIGHT, WIDTH, 3), 77, dtype=np.uint8)
    for method in (SegmentationMethod.K_MEANS, SegmentationMethod.FUZZY_C_MEANS):
        found = masks(ImageMasking(image(flat)).decompose(automatic(method, MaskingOptions)))
        assert list(found) == [0] and (found[0] == 255).all()


# ---- Watersheds

def test_a_watershed_floods_from_the_points_to_the_ridges() -> None:
    picture = image(noisy(BLOBS))
    result = ImageMasking(picture).decompose(automatic(
        SegmentationMethod.WATERSHED, MaskingOptions, number_of_objects=3,
        objects_points=[known.points(~(disk(25, 36, 17) | disk(70, 30, 15)), 200), known.points(disk(25, 36, 11), 60),
                        known.points(disk(70, 30, 9), 60)]))
    found = masks(result)
    assert overlap(found[1] == 255, BLOBS[RED]) > 0.9 and overlap(found[2] == 255, BLOBS[GREEN]) > 0.9
    assert (found[0] + found[1] + found[2] == 255).all()


def test_a_watershed_keeps_each_point_and_starts_in_the_middle_of_rectangles() -> None:
    picture = image(noisy({RED: disk(*DISK)}))
    bounds = known.around(*DISK)
    found = masks(ImageMasking(picture).decompose(automatic(
        SegmentationMethod.WATERSHED, MaskingOptions, objects_rectangles=[bounds],
        orphaned_points=[Point(30, 36)])))
    assert found[1][36, 48] == 255 and found[1][36, 30] == 0
    assert (found[1][~inside(bounds.x, bounds.y, bounds.width, bounds.height)] == 0).all()


# ---- Soft edges, colors and files of layers

@pytest.mark.parametrize("radius", [1, 2, 3, 10, 40])
def test_feathering_blurs_the_edges(radius: int) -> None:
    bounds = known.around(*DISK)
    sharp = masks(cut_disk(objects_rectangles=[bounds]))
    soft = masks(cut_disk(objects_rectangles=[bounds], feathering=radius))
    for number in (0, 1):
        assert np.abs(soft[number] - known.gaussian(sharp[number], radius)).max() <= 0.51
    assert (np.abs(soft[0] + soft[1] - 255) <= 1).all()


def test_a_replacement_color_stands_behind_the_object() -> None:
    pixels, area = noisy({}), inside(10, 5, 30, 20)
    options = manual(known.rectangles((10, 5, 30, 20)), background_replacement_color=Color.from_argb(255, 1, 2, 3))
    layer = argb(ImageMasking(image(pixels)).decompose(options).layers[1].get_image())
    assert (layer[..., 0] == 255).all() and (layer[~area][:, 1:] == (1, 2, 3)).all()
    assert (layer[area][:, 1:] == pixels[area]).all()


def test_soft_edges_mix_with_a_replacement_color() -> None:
    options = automatic(objects_rectangles=[known.around(*DISK)], feathering=6)
    picture = noisy({RED: disk(*DISK)})
    options.background_replacement_color = Color.from_argb(128, 10, 200, 30)
    result = ImageMasking(image(picture)).decompose(options)
    shown, layer = mask(result.layers[1]) / 255, argb(result.layers[1].get_image())
    alpha = shown + (1 - shown) * 128 / 255
    colors = (picture * shown[..., None] + np.array([10, 200, 30]) * ((1 - shown) * 128 / 255)[..., None])
    assert np.abs(layer[..., 0] - alpha * 255).max() <= 1
    assert np.abs(layer[..., 1:] - colors / alpha[..., None]).max() <= 1.5


def test_alpha_of_the_picture_stays() -> None:
    pixels = np.dstack([noisy({}), np.full((HEIGHT, WIDTH), 100, dtype=np.uint8)])
    layer = argb(ImageMasking(image(pixels)).decompose(manual(known.rectangles((10, 5, 30, 20)))).layers[1].get_image())
    assert (layer[..., 0] == np.where(inside(10, 5, 30, 20), 100, 0)).all()


def test_layers_are_images_of_the_format_that_the_export_options_are_for(tmp_path: Path) -> None:
    pixels, area = noisy({}), inside(10, 5, 30, 20)
    result = ImageMasking(image(pixels)).decompose(
        manual(known.rectangles((10, 5, 30, 20)), export_options=JpegOptions()))
    layer = result.layers[1].get_image()
    assert JpegImage._is_assignable(layer)
    found = argb(layer)
    assert (found[~area] == 255).all() and (found[area][:, 1:] == pixels[area]).all()  # no alpha: over white
    layer.save(str(tmp_path / "layer.jpg"))
    assert np.abs(read(tmp_path / "layer.jpg", "RGB") - found[..., 1:]).mean() < 8
    result.MASKING_OPTIONS.export_options = PngOptions()
    assert not JpegImage._is_assignable(result.layers[1].get_image())


# ---- Applying a mask

def mask_image(values: Any) -> RasterImage:
    return image(np.asarray(values, dtype=np.uint8))


def test_a_mask_makes_transparent_what_it_does_not_show() -> None:
    pixels = noisy({})
    target = image(pixels)
    shown = np.random.default_rng(2).integers(0, 256, (HEIGHT, WIDTH))
    ImageMasking.apply_mask(target, mask_image(shown), MaskingOptions())
    found = argb(target)
    assert (found[..., 0] == shown).all() and (found[..., 1:] == pixels).all()


def test_a_mask_of_the_area_is_put_there() -> None:
    target = image(noisy({}))
    options = MaskingOptions()
    options.masking_area = Rectangle(20, 10, 40, 30)
    ImageMasking.apply_mask(target, mask_image(np.zeros((30, 40))), options)
    assert (argb(target)[..., 0] == np.where(inside(20, 10, 40, 30), 0, 255)).all()
    # One of the size of the image has its part there.
    target = image(noisy({}))
    values = np.where(inside(30, 20, 10, 10), 255, 0)
    ImageMasking.apply_mask(target, mask_image(values), options)
    expected = np.where(inside(20, 10, 40, 30) & ~inside(30, 20, 10, 10), 0, 255)
    assert (argb(target)[..., 0] == expected).all()


def test_a_mask_is_feathered_as_the_options_say() -> None:
    target, options = image(noisy({})), GraphCutMaskingOptions()
    options.feathering_radius = 4
    values = np.where(inside(30, 20, 30, 30), 255, 0)
    ImageMasking.apply_mask(target, mask_image(values), options)
    assert np.abs(argb(target)[..., 0] - known.gaussian(values, 4)).max() <= 0.51


def test_a_mask_over_a_color_needs_no_alpha() -> None:
    pixels, target, options = noisy({}), image(noisy({})), MaskingOptions()
    options.background_replacement_color = Color.from_argb(255, 9, 8, 7)
    values = np.where(inside(30, 20, 30, 30), 255, 0)
    ImageMasking.apply_mask(target, mask_image(values), options)
    assert target.has_alpha is False
    assert (argb(target)[..., 1:] == np.where(values[..., None] == 255, pixels, (9, 8, 7))).all()


def test_a_masked_picture_keeps_its_16_bits(tmp_path: Path) -> None:
    deep = np.random.default_rng(5).integers(0, 65536, (HEIGHT, WIDTH, 3)).astype(np.uint16)
    target = RasterImage._cast_to(Image.load(write_16_bits(tmp_path / "deep.png", deep))).value
    shown = np.random.default_rng(2).integers(0, 256, (HEIGHT, WIDTH))
    ImageMasking.apply_mask(target, mask_image(shown), MaskingOptions())
    packed = np.array(list(target.load_argb_64_pixels(target.bounds)), dtype=np.int64).view(np.uint64)
    found = packed.reshape(HEIGHT, WIDTH)
    assert ((found >> np.uint64(32) & np.uint64(0xFFFF)) == deep[..., 0]).all()
    assert ((found >> np.uint64(48)) == (shown * 65535 + 127) // 255).all()


def test_a_mask_of_another_size_is_refused() -> None:
    target = image(noisy({}))
    before = argb(target)
    with managed_error("ArgumentException", "The mask is 50 by 40 pixels", "96 by 72"):
        ImageMasking.apply_mask(target, mask_image(np.zeros((40, 50))), MaskingOptions())
    assert (argb(target) == before).all()


@pytest.mark.parametrize("index, name", enumerate(["target_image", "mask", "masking_options"]))
def test_a_mask_needs_all_three(index: int, name: str) -> None:
    given: list[Any] = [image(noisy({})), image(noisy({})), MaskingOptions()]
    given[index] = None
    with managed_error("ArgumentNullException", name):
        ImageMasking.apply_mask(*given)


# ---- Refusals

def with_method(value: Any) -> MaskingOptions:
    options = MaskingOptions()
    options.method = value
    return options


def assumed(bounds: Rectangle) -> AutoMaskingGraphCutOptions:
    options = AutoMaskingGraphCutOptions()
    options.assumed_objects = [AssumedObjectData(DetectedObjectType.OTHER, bounds)]
    return options


def feathered(radius: int) -> GraphCutMaskingOptions:
    options = GraphCutMaskingOptions()
    options.feathering_radius = radius
    return options


def args_of(options: MaskingOptions, arguments: Any) -> MaskingOptions:
    options.args = arguments
    return options


REFUSED: dict[str, tuple[Callable[[], Any], str, str]] = {
    "no path": (lambda: manual(None), "ArgumentException", "ManualMaskingArgs.Mask is null"),
    "no arguments by hand": (lambda: with_method(SegmentationMethod.MANUAL), "ArgumentException", "ManualMaskingArgs"),
    "other arguments by hand": (lambda: args_of(with_method(SegmentationMethod.MANUAL), AutoMaskingArgs()),
                                "ArgumentException", "takes ManualMaskingArgs"),
    "manual arguments": (lambda: args_of(with_method(SegmentationMethod.K_MEANS), ManualMaskingArgs()),
                         "ArgumentException", "take AutoMaskingArgs"),
    "area": (lambda: manual(known.rectangles((0, 0, 5, 5)), masking_area=Rectangle(90, 0, 10, 10)),
             "ArgumentOutOfRangeException", "masking_area"),
    "feathering": (lambda: feathered(-1), "ArgumentOutOfRangeException", "feathering_radius"),
    "too much feathering": (lambda: feathered(256), "ArgumentOutOfRangeException", "feathering_radius"),
    "objects": (lambda: automatic(SegmentationMethod.K_MEANS, number_of_objects=1), "ArgumentOutOfRangeException",
                "number_of_objects"),
    "too many objects": (lambda: automatic(SegmentationMethod.K_MEANS, number_of_objects=256),
                         "ArgumentOutOfRangeException", "number_of_objects"),
    "objects of a cut": (lambda: automatic(number_of_objects=3), "NotSupportedException", "NumberOfObjects"),
    "precision": (lambda: automatic(precision=-0.5), "ArgumentOutOfRangeException", "precision"),
    "no precision": (lambda: automatic(precision=float("nan")), "ArgumentOutOfRangeException", "precision"),
    "iterations": (lambda: automatic(max_iteration_number=0), "ArgumentOutOfRangeException", "max_iteration_number"),
    "points": (lambda: automatic(objects_points=[[Point(96, 0)]]), "ArgumentOutOfRangeException", "objects_points"),
    "orphans": (lambda: automatic(orphaned_points=[Point(0, -1)]), "ArgumentOutOfRangeException", "orphaned_points"),
    "rectangles": (lambda: automatic(objects_rectangles=[Rectangle(200, 0, 5, 5)]), "ArgumentOutOfRangeException",
                   "objects_rectangles"),
    "assumed": (lambda: assumed(Rectangle(0, 0, 0, 0)), "ArgumentOutOfRangeException", "assumed_objects"),
    "more objects than said": (lambda: automatic(SegmentationMethod.K_MEANS, objects_points=[[]] * 3),
                               "ArgumentException", "number_of_objects"),
    "watershed": (lambda: with_method(SegmentationMethod.WATERSHED), "ArgumentException", "objects_points"),
}


@pytest.mark.parametrize("name", REFUSED)
def test_options_that_do_not_fit_are_refused_by_name(name: str) -> None:
    make, error, text = REFUSED[name]
    with managed_error(error, text):
        ImageMasking(image(noisy({}))).decompose(make())


def test_masking_needs_an_image_and_options() -> None:
    with managed_error("ArgumentNullException", "source_image"):
        ImageMasking(None)
    with managed_error("ArgumentNullException", "options"):
        ImageMasking(image(noisy({}))).decompose(None)


@pytest.fixture
def _hint() -> Iterator[None]:
    yield
    Configuration.set_buffer_size_hint(0)


def test_the_limit_on_memory_holds_for_masking(_hint: None) -> None:
    large = image(np.zeros((700, 1000, 3), dtype=np.uint8))
    options = automatic(objects_rectangles=[Rectangle(5, 5, 50, 50)])
    options.export_options = PngOptions()
    options.export_options.buffer_size_hint = 100
    with managed_error("OutOfMemoryException", "an area of 1000 by 700 pixels", "BufferSizeHint allows 100"):
        ImageMasking(large).decompose(options)
    options.masking_area = Rectangle(0, 0, 60, 60)
    layers = ImageMasking(large).decompose(options).layers
    options.export_options.buffer_size_hint = 2
    with managed_error("OutOfMemoryException", "The pixels of a layer take 3 megabytes"):
        layers[0].get_image()
    Configuration.set_buffer_size_hint(1)
    with managed_error("OutOfMemoryException", "BufferSizeHint allows 1."):
        layers[0].get_mask()


def test_an_interrupted_monitor_stops_a_separation() -> None:
    picture, monitor = image(noisy({})), InterruptMonitor()
    picture.interrupt_monitor = monitor
    masking = ImageMasking(picture)
    monitor.interrupt()
    with managed_error("OperationInterruptedException"):
        masking.decompose(automatic(objects_rectangles=[Rectangle(5, 5, 50, 50)]))


def test_the_segmentation_library_is_loaded_when_it_is_needed() -> None:
    run_child("""
from zelmor.imaging import Rectangle
from zelmor.imaging.masking import ImageMasking
from zelmor.imaging.masking.options import AutoMaskingArgs, GraphCutMaskingOptions, SegmentationMethod
from support import masks
def loaded():
    return "opencv" in open("/proc/self/maps").read()
options = GraphCutMaskingOptions()
options.args = AutoMaskingArgs()
options.args = args = AutoMaskingArgs()
args.objects_rectangles = [Rectangle(10, 10, 60, 50)]
options.method = SegmentationMethod.K_MEANS
masking = ImageMasking(masks.image(masks.noisy({})))
masking.decompose(options)
assert not loaded()
options.method = SegmentationMethod.GRAPH_CUT
masking.decompose(options)
assert loaded()
""")


def test_a_mask_goes_with_a_file_of_the_layer() -> None:
    result = ImageMasking(image(noisy({}))).decompose(manual(known.rectangles((10, 5, 30, 20))))
    file = io.BytesIO()
    result.layers[1].get_mask().save(file, PngOptions())
    assert file.getvalue().startswith(b"\x89PNG")
