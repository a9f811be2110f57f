"""Each wrapper against the C function called with the arguments it stands for."""

import numpy as np
import pytest

import vsk
from conftest import random_image

ffi, lib = vsk.ffi, vsk.lib
NULL = ffi.NULL


def direct(fn, sources, like, *args):
    """``fn`` on the sources and a fresh destination in the format of ``like``."""
    dst = vsk.Image.new(like.width, like.height, like.depth, like.channels, order=like.order,
                        channel_seq=like.channel_seq, alpha_channel=like.alpha_channel)
    fn(*[s.header for s in sources], dst.header, *args)
    assert lib.tvskGetErrStatus() == 0
    return dst.to_array()


RGBA8, RGB8, RGB16, GREY8, GREY16 = ("8u", 4, "RGBA"), ("8u", 3, "RGB"), ("16u", 3, "RGB"), \
    ("8u", 1, "G"), ("16u", 1, "G")


# Sources (two of this format, 9 x 13 pixels), the wrapper's call, the C function with the
# arguments after the destination, and the new destination's (width, height, depth, channels).
@pytest.mark.parametrize("source, call, fn, args, made", [
    (RGB16, lambda a, b: vsk.add_s(a, 70000), lib.tvskAddS, (70000, NULL), (13, 9, "16u", 3)),
    (RGB8, lambda a, b: vsk.subtract_s(a, 300, True), lib.tvskSubtractS, (300, 1, NULL), None),
    (RGB16, lambda a, b: vsk.and_s(a, -256), lib.tvskAndS, (0xFFFFFF00, NULL), None),
    (RGB8, lambda a, b: vsk.and_(a, b), lib.tvskAnd, (NULL,), None),
    (RGB8, lambda a, b: vsk.mirror(a, "leftright"), lib.tvskMirror, (1, NULL), None),
    (RGB8, lambda a, b: vsk.mirror(a, "updown"), lib.tvskMirror, (0, NULL), None),
    (RGB8, lambda a, b: vsk.zoom(a, x=(5, 2), y=(7, 3), interpolation="cubic"), lib.tvskZoom,
     (5, 2, 7, 3, 2, NULL), (32, 21, "8u", 3)),
    (RGB16, lambda a, b: vsk.decimate(a, xU=2, xL=5, yU=3, yL=4, interpolate="nn"),
     lib.tvskDecimate, (2, 5, 3, 4, 0, NULL), (5, 6, "16u", 3)),
    (GREY8, lambda a, b: vsk.blur(a, 3, 6), lib.tvskBlur, (3, 6, 3, 1, NULL), None),
    (RGBA8, lambda a, b: vsk.alpha_composite(a, b, op="xor", premultiplied=True),
     lib.tvskAlphaComposite, (4, NULL, NULL, NULL, 1, 0, NULL), None),
    (RGBA8, lambda a, b: vsk.alpha_composite_c(a, b, 300, 100, op="atop", divide=True),
     lib.tvskAlphaCompositeC, (3, 300, 100, 0, 1, NULL), None),
    (RGBA8, lambda a, b: vsk.multiply_scale(a, b), lib.vskMultiplyScale, (NULL,), None),
    (RGBA8, lambda a, b: vsk.multiply_s_scale(a, 77), lib.vskMultiplySScale, (77, NULL), None),
    (RGB16, lambda a, b: vsk.color_to_gray(a), lib.tvskColorToGray, (NULL,), (13, 9, "16u", 1)),
    (GREY8, lambda a, b: vsk.gray_to_color(a, 0.2, 0.5, 0.9), lib.tvskGrayToColor,
     (0.2, 0.5, 0.9, NULL), (13, 9, "8u", 3)),
    (GREY16, lambda a, b: vsk.reduce_bits(a, ditherType="fs", levels=1), lib.vskReduceBits,
     (0, 2, 1, NULL), (13, 9, "8u", 1)),
    (RGB8, lambda a, b: vsk.rgb2hls(a), lib.vskRGB2HLS, (NULL,), None),
])
def test_wrappers_pass_their_arguments(rng, source, call, fn, args, made):
    depth, channels, seq = source
    a, _ = random_image(rng, depth, channels, rows=9, cols=13, channel_seq=seq)
    b, _ = random_image(rng, depth, channels, rows=9, cols=13, channel_seq=seq)
    out = call(a, b)
    sources = [a, b][:2 if fn in (lib.tvskAnd, lib.tvskAlphaComposite, lib.tvskAlphaCompositeC,
                                  lib.vskMultiplyScale) else 1]
    np.testing.assert_array_equal(out.to_array(), direct(fn, sources, out, *args))
    if made:
        assert (out.width, out.height, out.depth, out.channels) == made


def test_copy_follows_regions_and_channels(rng):
    img, a = random_image(rng, "16s", 3, rows=9, cols=12)
    np.testing.assert_array_equal(np.asarray(vsk.copy(img[2:7, 1:5])), a[2:7, 1:5])
    img.coi = 2
    one = vsk.copy(img)  # like the source: three channels, coi 2
    assert one.coi == 2
    np.testing.assert_array_equal(np.asarray(one.whole)[..., 1], a[..., 1])
    assert not np.asarray(one.whole)[..., [0, 2]].any()
    grey = vsk.copy(img, out=vsk.Image.new(12, 9, "16s", 1))  # one channel into a grey image
    np.testing.assert_array_equal(np.asarray(grey), a[..., 1])
    img.coi = 0
    big = vsk.Image.new(20, 20, "16s", 3)
    vsk.copy(img, out=big[3:12, 5:17])
    np.testing.assert_array_equal(np.asarray(big)[3:12, 5:17], a)
    assert not np.asarray(big)[:3].any() and not np.asarray(big)[:, 17:].any()


def test_in_place_calls_and_one_bit_views(rng):
    img, a = random_image(rng, "8u", 3, "plane")
    img.coi = 3
    vsk.set(img[1:5, 2:9], 300)  # saturated, in the third plane only
    expected = a.copy()
    expected[2, 1:5, 2:9] = 255
    np.testing.assert_array_equal(np.asarray(img.whole), expected)
    whole = img.whole
    vsk.mirror(whole, "both", out=whole)
    np.testing.assert_array_equal(np.asarray(whole), expected[:, ::-1, ::-1])
    bits, b = random_image(rng, "1u", 1, rows=4, cols=19)
    np.testing.assert_array_equal(vsk.mirror(bits[:, 3:16], -1).unpacked(), b[::-1, 15:2:-1])
    other, c = random_image(rng, "8s", 2)
    first, d = random_image(rng, "8s", 2)
    vsk.exchange(first[1:3, :4], other[4:6, 2:6])
    np.testing.assert_array_equal(np.asarray(first)[1:3, :4], c[4:6, 2:6])
    np.testing.assert_array_equal(np.asarray(other)[4:6, 2:6], d[1:3, :4])


def test_get_rect_follows_the_border_modes():
    img = vsk.Image.from_array(np.arange(1, 6, dtype=np.uint8)[None, :])
    for mode, expected in (("replicate", [1, 1, 1, 2]), ("reflect", [2, 1, 1, 2]),
                           ("wrap", [4, 5, 1, 2])):
        img.set_border(mode)
        np.testing.assert_array_equal(np.asarray(vsk.get_rect(img, -2, 0, 4, 1))[0], expected)
    assert img.border_modes == ((3,) * 4, (0,) * 4)


def test_header_helpers():
    img = vsk.Image.new(4, 4)
    assert vsk.bad_image_header(img) == 0
    img.roi = (-1, 0, 0, 2)
    mask = vsk.bad_image_header(img)
    assert mask == 0x8000 | 0x8
    lines = vsk.header_error_text(mask).splitlines(keepends=True)
    assert [len(line) for line in lines] == [71, 71]
    assert lines[0].startswith("ROI size is invalid") and lines[1].startswith("ROI offset")
    assert vsk.error_text(-5) == "Bad argument" and vsk.error_text(-9) == "Unknown error code -9"
    assert vsk.version()["version"] == "v1.0 Beta 3"
