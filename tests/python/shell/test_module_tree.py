"""The module tree: children are attributes, types are published with their names, and only type hosts are built
lazily."""

from __future__ import annotations

import types

import zelmor.imaging

from support.package_process import child


def test_the_tree_is_reachable_by_attributes_with_no_further_import() -> None:
    enums = zelmor.imaging.fileformats.tiff.enums
    assert isinstance(enums, types.ModuleType) and enums.__name__ == "zelmor.imaging.fileformats.tiff.enums"


def test_the_internal_wrappers_are_there() -> None:
    assert zelmor.imaging._wrpgen._interop._ArrayWrapper.__module__ == "zelmor.imaging._wrpgen._interop"
    assert isinstance(zelmor.imaging._wrpgen._generic, types.ModuleType)


def test_two_descriptor_types_are_published_and_three_are_not() -> None:
    published = {name for name in vars(zelmor.imaging) if name.endswith("Type") and name.startswith("_")}
    assert published == {"_FieldDescrType", "_MixMethodDescrType", "_ModuleVersionType"}
    assert not hasattr(zelmor.imaging, "_MethodObjectType")


def test_the_order_of_the_namespace_follows_the_recipe() -> None:
    names = [name for name in vars(zelmor.imaging) if not name.startswith("__")]
    order = ["_FieldDescrType", "_MixMethodDescrType", "asynctask", "xmp", "AnimationDisposalMethods", "WrapMode",
             "BuildVersionInfo", "VectorMultipageImage", "_wrpgen", "_ModuleVersionType", "VERSION",
             "_BACKWARD_COMPATIBILITY_THRESHOLD"]
    positions = [names.index(name) for name in order]
    assert positions == sorted(positions)
    assert names.index("shapesegments") < names.index("shapes")


def test_modules_have_no_functions_and_no_text_of_their_own() -> None:
    for module in (zelmor.imaging, zelmor.imaging.imageoptions, zelmor.imaging._wrpgen):
        assert module.__doc__ is None
        assert not any(isinstance(value, types.BuiltinFunctionType) for value in vars(module).values())


def test_a_type_tells_its_module() -> None:
    assert zelmor.imaging.Image.__module__ == "zelmor.imaging"
    assert zelmor.imaging.imageoptions.PngOptions.__module__ == "zelmor.imaging.imageoptions"


def test_the_interfaces_of_a_type_are_in_both_sets() -> None:
    interop = zelmor.imaging._wrpgen._interop
    found = zelmor.imaging.VectorMultipageImage
    expected = {zelmor.imaging.IObjectWithBounds, zelmor.imaging.interfaces.IObjectWithSizeF,
                zelmor.imaging.IMultipageImage, interop._IDisposableWrapper}
    assert found._additional_interfaces == found._implicit_interfaces == expected


def test_an_interface_lists_what_it_inherits_and_points_at_the_same_functions() -> None:
    base = vars(zelmor.imaging.IImageDescriptor)["supported_format"]
    derived = vars(zelmor.imaging.IImageLoaderDescriptor)["supported_format"]
    assert derived.__objclass__ is zelmor.imaging.IImageLoaderDescriptor
    assert base.__name__ == derived.__name__


def test_importing_the_extension_alone_enters_no_child_module() -> None:
    """The package makes the child modules known to the import system, on demand."""
    found = child("import sys, zelmor.imaging\n"
                  "result = [name for name in sys.modules if name.startswith('zelmor.imaging.')]")
    assert found == []
