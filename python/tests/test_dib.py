"""Device-independent bitmaps in and out."""

import struct

import numpy as np
import pytest

import vsk
from conftest import random_image

HEADER = struct.Struct("<IiiHHIIiiII")


def rows(dib, height, width_bytes, table=0):
    step = (width_bytes + 3) & ~3
    return np.frombuffer(dib, np.uint8, height * step, 40 + 4 * table).reshape(height, step)[
        :, :width_bytes]


def test_24_bit_dibs_round_trip(rng):
    img, a = random_image(rng, "8u", 3, rows=7, cols=13)
    dib = vsk.convert_to_dib(img)
    assert HEADER.unpack_from(dib)[:6] == (40, 13, 7, 1, 24, 0) and len(dib) == 40 + 7 * 40
    bottom_up_bgr = a[::-1, :, ::-1]
    np.testing.assert_array_equal(rows(dib, 7, 39).reshape(7, 13, 3), bottom_up_bgr)
    wrapped = vsk.translate_dib(dib)
    assert wrapped.clone_data and (wrapped.origin, wrapped.channel_seq) == (1, "BGR")
    np.testing.assert_array_equal(np.asarray(wrapped), bottom_up_bgr)
    np.testing.assert_array_equal(np.asarray(vsk.convert_from_dib(dib)), a)
    grey = vsk.convert_from_dib(dib, vsk.Image.new(13, 7))
    np.testing.assert_array_equal(np.asarray(grey), (a.astype(int) @ [77, 151, 28]) >> 8)
    bmp = vsk.bmp_from_dib(dib)
    assert bmp[:2] == b"BM" and struct.unpack_from("<IHHI", bmp, 2) == (14 + len(dib), 0, 0, 54)


def test_palettes(rng):
    grey, g = random_image(rng, "8u", 1, rows=5, cols=6)
    dib = vsk.convert_to_dib(grey)  # 8 bits, fixed table: the identity grey ramp
    assert dib[40 + 4 * 77:40 + 4 * 78] == bytes([77, 77, 77, 0])
    np.testing.assert_array_equal(rows(dib, 5, 6, 256), g[::-1])
    levels = rng.integers(0, 64, (40, 3)) * 4  # at most 256 distinct 6-bit colours
    picture = levels[rng.integers(0, 40, (9, 11))].astype(np.uint8)
    img = vsk.Image.from_array(picture)
    dib = vsk.convert_to_dib(img, bits=8, palette="median")
    used = HEADER.unpack_from(dib)[9]
    assert used == len(np.unique(picture.reshape(-1, 3), axis=0))
    assert len(dib) == 40 + 4 * used + 9 * 12
    np.testing.assert_array_equal(np.asarray(vsk.convert_from_dib(dib)), np.asarray(img))
    bits, b = random_image(rng, "1u", 1, rows=3, cols=10)
    dib = vsk.convert_to_dib(bits)
    assert HEADER.unpack_from(dib)[4] == 1
    np.testing.assert_array_equal(vsk.translate_dib(dib).unpacked(), b[::-1])
    kept = vsk.convert_to_dib(grey, bits=1, palette="keep", colors=[(0, 0, 0), (9, 9, 9)])
    assert HEADER.unpack_from(kept)[9] == 2 and kept[44:48] == bytes([9, 9, 9, 0])


def test_bit_field_dibs(rng):
    img, a = random_image(rng, "8u", 3, rows=2, cols=3)
    dib = vsk.convert_to_dib(img, bits=16, masks=(0xF800, 0x07E0, 0x001F))
    r, g, b = a[..., 0].astype(int) >> 3, a[..., 1].astype(int) >> 2, a[..., 2].astype(int) >> 3
    np.testing.assert_array_equal(rows(dib, 2, 6, 3).view("<u2"), ((r << 11) | (g << 5) | b)[::-1])
    rgba, c = random_image(rng, "8u", 4, rows=2, cols=3)
    pixels = rows(vsk.convert_to_dib(rgba), 2, 12).view("<u4")
    assert not (pixels >> 24).any()  # the top byte of a BI_RGB pixel is always 0


def test_converting_into_a_prepared_dib_in_place(rng):
    img, a = random_image(rng, "8u", 3, rows=4, cols=5)
    dib = bytearray(HEADER.pack(40, 5, 4, 1, 24, 0, 0, 0, 0, 0, 0) + bytes(4 * 16))
    assert vsk.convert_to_dib(img, dib=dib) is dib
    made = vsk.convert_to_dib(img)
    assert dib[:20] == made[:20] and dib[40:] == made[40:]
    with pytest.raises(vsk.VskError) as caught:
        vsk.convert_to_dib(vsk.Image.new(6, 4, "8u", 3), dib=dib)
    assert (caught.value.condition, caught.value.line) == (
        "(image->width != dib->biWidth || image->height != dib->biHeight)", 1979)
