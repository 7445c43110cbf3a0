"""The arguments of masking: two classes that the managed side accepts for one interface."""

from __future__ import annotations

from typing import Any

import pytest

from zelmor.imaging import LoadOptions
from zelmor.imaging.masking.options import AutoMaskingArgs, IMaskingArgs, ManualMaskingArgs, MaskingOptions


@pytest.mark.parametrize("type_", [AutoMaskingArgs, ManualMaskingArgs])
def test_masking_takes_its_arguments(type_: Any) -> None:
    given, options = type_(), MaskingOptions()
    assert IMaskingArgs._is_assignable(given) is True
    assert IMaskingArgs._cast_to(given).status == 1
    options.args = given
    assert type(options.args) is IMaskingArgs  # the Python class is not marked with the interface
    made, back = type_._cast_to(options.args)
    assert made and back == given and type(back) is type_
    options.args = None
    assert options.args is None


def test_masking_refuses_other_arguments() -> None:
    options = MaskingOptions()
    assert IMaskingArgs._is_assignable(LoadOptions()) is False
    with pytest.raises(TypeError, match="can't build IMaskingArgs value from 'zelmor.imaging.LoadOptions'"):
        options.args = LoadOptions()
    assert options.args is None
