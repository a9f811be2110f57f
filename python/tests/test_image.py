"""vsk.Image: layout, zero-copy views, 1-bit packing, regions and channels of interest."""

import numpy as np
import pytest

import vsk
from conftest import random_image


@pytest.mark.parametrize("depth, channels, order, width, height, align, step, size", [
    ("8u", 3, "pixel", 5, 2, 4, 16, 32),
    ("8u", 3, "plane", 5, 2, 4, 8, 48),
    ("1u", 1, "pixel", 9, 2, 8, 8, 16),
    ("16s", 1, "pixel", 3, 2, 4, 8, 16),
    ("32s", 2, "plane", 3, 1, 8, 16, 32),
])
def test_rows_are_padded_to_the_alignment(depth, channels, order, width, height, align, step,
                                          size):
    img = vsk.Image.new(width, height, depth, channels, order=order, align=align)
    assert (img.width_step, img.data_size) == (step, size)
    assert img.header.imageData != vsk.ffi.NULL
    assert int(vsk.ffi.cast("uintptr_t", img.header.imageData)) % align == 0


@pytest.mark.parametrize("depth", ["8u", "8s", "16u", "16s", "32s"])
@pytest.mark.parametrize("order, channels", [("pixel", 1), ("pixel", 3), ("plane", 4)])
@pytest.mark.parametrize("align", [4, 8])
def test_asarray_is_a_zero_copy_view_without_padding(rng, depth, order, channels, align):
    img, a = random_image(rng, depth, channels, order, rows=5, cols=7, align=align)
    view = np.asarray(img)
    assert view.shape == a.shape == img.shape and view.dtype == a.dtype
    np.testing.assert_array_equal(view, a)
    assert view.strides[-2 if channels == 1 or order == "plane" else -3] == img.width_step
    assert np.shares_memory(view, img.buffer)
    view[...] = 0
    assert not np.asarray(img).any()
    vsk.Image.from_array(a, order=order, align=align)  # the array itself is copied, not kept
    assert np.asarray(vsk.Image.from_array(a, order=order)).base is not a


def test_one_bit_images_pack_most_significant_bit_first(rng):
    bits = rng.random((3, 13)) < 0.5
    bits[0, :9] = [1, 0, 0, 0, 0, 0, 0, 1, 1]
    img = vsk.Image.from_array(bits)
    assert img.depth == "1u" and img.width_step == 4
    assert img.buffer[0] == 0b10000001 and img.buffer[1] >> 7 == 1
    np.testing.assert_array_equal(img.unpacked(), bits)
    np.testing.assert_array_equal(vsk.Image.from_array(bits.astype(np.uint8) * 9,
                                                       depth="1u").unpacked(), bits)
    np.testing.assert_array_equal(img[1:3, 5:12].unpacked(), bits[1:3, 5:12])
    with pytest.raises(TypeError, match="unpacked"):
        np.asarray(img)


def test_roi_and_coi_are_the_header_records():
    img = vsk.Image.new(10, 8, "8u", 3)
    assert img.roi is None and img.coi == 0 and img.header.roi == vsk.ffi.NULL
    img.coi = 2  # a channel of interest alone makes a whole-image region
    r = img.header.roi
    assert (r.coi, r.xOffset, r.yOffset, r.height, r.width) == (2, 0, 0, 8, 10)
    img.roi = (1, 2, 3, 4)  # x, y, width, height; the coi stays
    r = img.header.roi
    assert (r.coi, r.xOffset, r.yOffset, r.height, r.width) == (2, 1, 2, 4, 3)
    img.roi = vsk.create_roi(0, 5, 6, 7, 8)
    assert (img.roi, img.coi) == ((5, 6, 8, 7), 0)
    img.roi = None
    assert img.header.roi == vsk.ffi.NULL


@pytest.mark.parametrize("order, channels", [("pixel", 3), ("plane", 2), ("pixel", 1)])
def test_slicing_makes_view_images_with_a_region(rng, order, channels):
    img, a = random_image(rng, "16u", channels, order, rows=9, cols=11)
    whole = np.asarray(img)
    def part(x, rows, cols):
        return x[:, rows, cols] if order == "plane" else x[rows, cols]
    view = img[2:6, 3:9]
    assert view.roi == (3, 2, 6, 4) and view.header.imageData == img.header.imageData
    np.testing.assert_array_equal(np.asarray(view), part(a, slice(2, 6), slice(3, 9)))
    assert np.shares_memory(np.asarray(view), whole)
    assert view[1:3, -2:].roi == (7, 3, 2, 2)  # relative to the view's own region
    assert img[-2:, :100].roi == (0, 7, 11, 2)  # Python slice rules, clipped
    assert np.asarray(view.whole).shape == whole.shape
    img.roi = (8, 7, 10, 10)  # a region reaching past the edges is clipped as the library does
    np.testing.assert_array_equal(np.asarray(img), part(a, slice(7, 9), slice(8, 11)))


def test_bad_arguments_raise_python_errors():
    with pytest.raises(TypeError, match="float64"):
        vsk.Image.from_array(np.zeros((2, 2)))
    with pytest.raises(ValueError):
        vsk.Image.from_array(np.zeros((2, 2, 2, 2), np.uint8))
    with pytest.raises(ValueError, match="do not fit"):
        vsk.Image.from_array(np.array([[300]]), depth="8u")
    with pytest.raises(ValueError, match="depth"):
        vsk.Image.new(2, 2, "7u")
    with pytest.raises(ValueError, match="one channel"):
        vsk.Image.new(2, 2, "1u", 3)
    with pytest.raises(ValueError, match="too large"):
        vsk.Image.new(70000, 70000, "32s", 4)
    with pytest.raises(ValueError, match="at most 4"):
        vsk.Image.new(2, 2, channel_seq="RGBAX")
    with pytest.raises(TypeError, match="tiled"):
        np.asarray(vsk.Image.tiled(16, 16, (8, 8)))


@pytest.mark.parametrize("depth, fill, expected", [("8u", 300, 255), ("8s", 300, 127),
                                                   ("16s", 300, 300), ("16u", -5, 0)])
def test_new_images_are_filled_saturated(depth, fill, expected):
    assert (np.asarray(vsk.Image.new(3, 2, depth, 2, fill=fill)) == expected).all()


def test_record_functions():
    img = vsk.create_image_header(3, 0, "8u", "RGB", "BGR", 0, 0, 4, 2, 5)
    assert (img.width_step, img.data_size, img.channel_seq) == (16, 32, "BGR")
    with pytest.raises(TypeError, match="no buffer"):
        np.asarray(img)
    with pytest.raises(vsk.VskError, match="Image data and tileinfo"):
        vsk.set(img)
    vsk.allocate_image(img, 0x1FF)  # the low byte fills every byte, padding included
    assert (img.buffer == 255).all() and img.header.dataBlock == vsk.ffi.NULL
    for fill, expected in ((3, 255), (2, 0)):
        bits = vsk.allocate_image(vsk.create_image_header(1, 0, "1u", "GRAY", "G", height=2,
                                                          width=9), fill)
        assert (bits.buffer == expected).all()
    img.roi = vsk.create_roi(2, 1, 0, 2, 3)
    vsk.deallocate(img, vsk.VSK_FREE_ROI | vsk.VSK_FREE_DATA)
    assert img.roi is None and img.header.imageData == vsk.ffi.NULL
    vsk.deallocate(img, vsk.VSK_FREE_HEADER)
    with pytest.raises(ValueError, match="released"):
        img.width
    tiled = vsk.create_image_header(1, 0, "16u", "GRAY", "G", height=20, width=20,
                                    tileInfo=(8, 16))
    assert tiled.is_tiled and tiled.tile_size == (8, 16) and tiled.tiles.tile_bytes == 256
