"""PsdOptions: what new ones show, what can be set, and copies."""

from __future__ import annotations

import pytest
from zelmor.imaging.fileformats.psd import ColorModes, CompressionMethod, PsdVersion
from zelmor.imaging.imageoptions import PsdOptions

from support.image_oracles import managed_error


def test_new_options() -> None:
    with PsdOptions() as options:
        assert options.color_mode == ColorModes.RGB
        assert options.channel_bits_count == 8
        assert options.channels_count == 4
        assert options.compression_method == CompressionMethod.RLE
        assert options.psd_version == PsdVersion.PSD
        assert options.version == 6
        assert options.vectorization_options is None
        assert not options.refresh_image_preview_data
        assert not options.remove_global_text_engine_resource


def test_settings_and_copies() -> None:
    with PsdOptions() as options:
        for mode in ColorModes:
            options.color_mode = mode
            assert options.color_mode == mode
        for bits in (1, 8, 16, 32):
            options.channel_bits_count = bits
            assert options.channel_bits_count == bits
        for channels in (1, 5, 56):
            options.channels_count = channels
            assert options.channels_count == channels
        with PsdOptions(options) as copy:
            assert (copy.color_mode, copy.channel_bits_count, copy.channels_count) == (ColorModes.LAB, 32, 56)


@pytest.mark.parametrize("bits", [-1, 0, 2, 4, 24, 64])
def test_depths_that_the_format_does_not_have(bits: int) -> None:
    with PsdOptions() as options:
        with managed_error("ArgumentOutOfRangeException", f"{bits} of PsdOptions.ChannelBitsCount is none of 1, 8,"):
            options.channel_bits_count = bits
        assert options.channel_bits_count == 8


@pytest.mark.parametrize("channels", [-1, 0, 57])
def test_numbers_of_channels_that_the_format_does_not_have(channels: int) -> None:
    with PsdOptions() as options:
        with managed_error("ArgumentOutOfRangeException", f"{channels} of PsdOptions.ChannelsCount", "1 and 56"):
            options.channels_count = channels
        assert options.channels_count == 4
