"""Each operation against a short numpy reference, or against the C library called directly."""

import numpy as np
import pytest

import vsk
from conftest import DTYPES, mul, random_image

ffi, lib = vsk.ffi, vsk.lib
NUMERIC = ["8u", "8s", "16u", "16s", "32s"]


def saturate(x, depth):
    info = np.iinfo(DTYPES[depth])
    return np.clip(x, info.min, info.max).astype(DTYPES[depth])


@pytest.mark.parametrize("depth", NUMERIC)
@pytest.mark.parametrize("order", ["pixel", "plane"])
@pytest.mark.parametrize("call, reference", [
    (lambda img, v: vsk.add_s(img, v), lambda a, v: a + v),
    (lambda img, v: vsk.subtract_s(img, v), lambda a, v: a - v),
    (lambda img, v: vsk.subtract_s(img, v, reverse=True), lambda a, v: v - a),
])
@pytest.mark.parametrize("value", [40, -300, 70000, -2**31])
def test_add_and_subtract_saturate(rng, depth, order, call, reference, value):
    img, a = random_image(rng, depth, 3, order)
    expected = saturate(reference(a.astype(np.int64), value), depth)
    np.testing.assert_array_equal(np.asarray(call(img, value)), expected)


@pytest.mark.parametrize("depth", NUMERIC)
@pytest.mark.parametrize("value", [0x1F0, -1, 0x12345678])
def test_and_with_a_constant_and_an_image(rng, depth, value):
    img, a = random_image(rng, depth, 3)
    other, b = random_image(rng, depth, 3)
    unsigned = a.dtype.str.replace("i", "u")
    mask = value & (2 ** (8 * a.dtype.itemsize) - 1)
    expected = (a.view(unsigned) & mask).astype(unsigned).view(a.dtype)
    np.testing.assert_array_equal(np.asarray(vsk.and_s(img, value)), expected)
    np.testing.assert_array_equal(np.asarray(vsk.and_(img, other)), a & b)


@pytest.mark.parametrize("call, reference", [
    (lambda img, v: vsk.add_s(img, v), lambda a, b: a | b),
    (lambda img, v: vsk.subtract_s(img, v), lambda a, b: a & ~b),
    (lambda img, v: vsk.subtract_s(img, v, True), lambda a, b: b & ~a),
    (lambda img, v: vsk.and_s(img, v), lambda a, b: a & b),
])
@pytest.mark.parametrize("value", [2, 3])
def test_one_bit_arithmetic_is_logic(rng, call, reference, value):
    img, a = random_image(rng, "1u", 1, rows=5, cols=21)
    view = img[1:4, 3:17]  # starts inside a byte
    out = call(view, value)
    np.testing.assert_array_equal(out.unpacked(), reference(a[1:4, 3:17], bool(value & 1)))


def test_copy_follows_regions_and_channels(rng):
    img, a = random_image(rng, "16s", 3, rows=9, cols=12)
    np.testing.assert_array_equal(np.asarray(vsk.copy(img)), a)
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


@pytest.mark.parametrize("order, coi", [("pixel", 0), ("pixel", 2), ("plane", 3)])
def test_set_fills_the_region_or_channel(rng, order, coi):
    img, a = random_image(rng, "8u", 3, order)
    img.coi = coi
    vsk.set(img[1:5, 2:9], 300)
    expected = a.copy()
    channels = slice(None) if coi == 0 else coi - 1
    if order == "plane":
        expected[channels, 1:5, 2:9] = 255
    else:
        expected[1:5, 2:9, channels] = 255
    np.testing.assert_array_equal(np.asarray(img.whole), expected)


@pytest.mark.parametrize("axis, flip", [(0, (0,)), ("updown", (0,)), (1, (1,)),
                                        ("leftright", (1,)), (-1, (0, 1)), ("both", (0, 1))])
@pytest.mark.parametrize("order", ["pixel", "plane"])
def test_mirror_flips_rows_columns_or_both(rng, axis, flip, order):
    img, a = random_image(rng, "32s", 3, order, rows=6, cols=9)
    axes = tuple(f + 1 for f in flip) if order == "plane" else flip
    np.testing.assert_array_equal(np.asarray(vsk.mirror(img, axis)), np.flip(a, axes))
    vsk.mirror(img, axis, out=img)  # in place
    np.testing.assert_array_equal(np.asarray(img), np.flip(a, axes))


def test_mirror_of_one_bit_images(rng):
    img, a = random_image(rng, "1u", 1, rows=4, cols=19)
    np.testing.assert_array_equal(vsk.mirror(img[:, 3:16], -1).unpacked(), a[::-1, 15:2:-1])


@pytest.mark.parametrize("depth", ["8u", "16u"])
@pytest.mark.parametrize("order", ["pixel", "plane"])
def test_nearest_neighbour_zoom_and_decimate_by_whole_factors(rng, depth, order):
    img, a = random_image(rng, depth, 3, order, rows=6, cols=8)
    rows, cols = (1, 2) if order == "plane" else (0, 1)
    zoomed = vsk.zoom(img, x=(2, 1), y=(2, 1), interpolate="nn")
    assert (zoomed.width, zoomed.height) == (16, 12)
    np.testing.assert_array_equal(np.asarray(zoomed), a.repeat(2, rows).repeat(2, cols))
    reduced = vsk.decimate(img, x=(1, 2), y=(1, 3), interpolate="nn")
    assert (reduced.width, reduced.height) == (4, 2)
    expected = a[:, ::3, ::2] if order == "plane" else a[::3, ::2]
    np.testing.assert_array_equal(np.asarray(reduced), expected)


def direct(fn, src, dst_like, *args):
    """The C function called on a fresh destination of the same format, for comparisons."""
    dst = vsk.Image.new(dst_like.width, dst_like.height, dst_like.depth, dst_like.channels,
                        order=dst_like.order, channel_seq=dst_like.channel_seq,
                        alpha_channel=dst_like.alpha_channel)
    fn(src.header, dst.header, *args)
    assert lib.tvskGetErrStatus() == 0
    return np.asarray(dst)


@pytest.mark.parametrize("depth", ["8u", "16u"])
@pytest.mark.parametrize("mode, code", [("nn", 0), ("linear", 1), ("cubic", 2)])
def test_zoom_and_decimate_pass_factors_and_interpolation_to_the_library(rng, depth, mode,
                                                                         code):
    img, _ = random_image(rng, depth, 3, rows=11, cols=13)
    z = vsk.zoom(img, x=(5, 2), y=(7, 3), interpolation=mode)
    assert (z.width, z.height) == (13 * 5 // 2, 11 * 7 // 3)
    np.testing.assert_array_equal(np.asarray(z), direct(lib.tvskZoom, img, z, 5, 2, 7, 3, code,
                                                        ffi.NULL))
    d = vsk.decimate(img, xU=2, xL=5, yU=3, yL=7, interpolate=code)
    assert (d.width, d.height) == (13 * 2 // 5, 11 * 3 // 7)
    np.testing.assert_array_equal(np.asarray(d), direct(lib.tvskDecimate, img, d, 2, 5, 3, 7,
                                                        code, ffi.NULL))


@pytest.mark.parametrize("depth", ["8u", "16s"])
@pytest.mark.parametrize("rows, cols, anchor", [(3, 3, None), (2, 4, (0, 1)), (5, 5, None)])
def test_blur_is_the_box_mean_with_zero_borders(rng, depth, rows, cols, anchor):
    img, a = random_image(rng, depth, 1, rows=9, cols=10)
    ax, ay = anchor or (cols // 2, rows // 2)
    padded = np.pad(a.astype(np.int64), ((ay, rows - 1 - ay), (ax, cols - 1 - ax)))
    sums = sum(padded[i:i + 9, j:j + 10] for i in range(rows) for j in range(cols))
    scale = np.float64(np.float32(1.0 / (rows * cols)))
    expected = np.trunc(sums * scale).astype(np.int64).astype(a.dtype)
    out = vsk.blur(img, rows, cols, *(anchor or ()))
    np.testing.assert_array_equal(np.asarray(out), expected)


COMPOSITES = {  # colour and alpha of A op B from colours A, B and alphas a, b
    "over": (lambda A, B, a, b, m: mul(A, a, m[0]) + mul(B, b, m[0])
             - mul(a, mul(B, b, m[0]), m[0]), lambda a, b, m: a + b - mul(a, b, m[0])),
    "in": (lambda A, B, a, b, m: mul(b, mul(A, a, m[0]), m[0]), lambda a, b, m: mul(a, b, m[0])),
    "xor": (lambda A, B, a, b, m: mul(A, a, m[0]) - mul(b, mul(A, a, m[0]), m[0])
            + mul(B, b, m[0]) - mul(a, mul(B, b, m[0]), m[0]),
            lambda a, b, m: a + b - 2 * mul(a, b, m[0])),
}


@pytest.mark.parametrize("depth, bits", [("8u", 8), ("16u", 16)])
@pytest.mark.parametrize("op", sorted(COMPOSITES))
def test_alpha_composite_of_straight_colours(rng, depth, bits, op):
    A_img, A = random_image(rng, depth, 4)
    B_img, B = random_image(rng, depth, 4)
    colour, alpha = COMPOSITES[op]
    a, b, top = A[..., 3:].astype(np.int64), B[..., 3:].astype(np.int64), 2**bits - 1
    out = np.asarray(vsk.alpha_composite(A_img, B_img, op=op))
    np.testing.assert_array_equal(out[..., :3], np.minimum(colour(A[..., :3], B[..., :3], a, b,
                                                                  (bits,)), top))
    np.testing.assert_array_equal(out[..., 3:], np.minimum(alpha(a, b, (bits,)), top))


def test_alpha_composite_premultiplied_plus_and_constant_alphas(rng):
    A_img, A = random_image(rng, "8u", 4)
    B_img, B = random_image(rng, "8u", 4)
    plus = vsk.alpha_composite(A_img, B_img, compositeType=5, premulAlpha=True)
    np.testing.assert_array_equal(np.asarray(plus), np.minimum(A.astype(int) + B, 255))
    rgb_a, ca = random_image(rng, "8u", 3)
    rgb_b, cb = random_image(rng, "8u", 3)
    over = vsk.alpha_composite_c(rgb_a, rgb_b, 300, 100)  # 300 is limited to 255
    expected = np.minimum(ca + mul(cb, 100) - mul(np.int64(255), mul(cb, 100)), 255)
    np.testing.assert_array_equal(np.asarray(over), expected)


def test_premultiply_and_scaled_multiplies(rng):
    img, a = random_image(rng, "8u", 4)
    other, b = random_image(rng, "8u", 4)
    np.testing.assert_array_equal(np.asarray(vsk.multiply_scale(img, other)), mul(a, b))
    for value, expected in ((77, mul(a, 77)), (-1, a), (0, 0 * a)):
        np.testing.assert_array_equal(np.asarray(vsk.multiply_s_scale(img, value)), expected)
    own = vsk.pre_multiply_alpha(vsk.copy(img))
    np.testing.assert_array_equal(np.asarray(own)[..., :3], mul(a[..., :3], a[..., 3:]))
    np.testing.assert_array_equal(np.asarray(own)[..., 3], a[..., 3])
    half = np.asarray(vsk.pre_multiply_alpha(img, 128))
    np.testing.assert_array_equal(half[..., :3], mul(a[..., :3], 128))
    assert (half[..., 3] == 128).all()


@pytest.mark.parametrize("seq, weights", [("RGB", (54, 183, 18)), ("BGR", (18, 183, 54))])
def test_colour_and_grey_conversions(rng, seq, weights):
    img, a = random_image(rng, "8u", 3, channel_seq=seq)
    grey = vsk.color_to_gray(img)
    assert (grey.channels, grey.depth) == (1, "8u")
    np.testing.assert_array_equal(np.asarray(grey), (a.astype(int) @ np.array(weights)) >> 8)
    wide = np.asarray(vsk.color_to_gray(vsk.Image.from_array(a.astype(np.uint16) * 257,
                                                             channel_seq=seq)))
    np.testing.assert_array_equal(wide, ((a.astype(np.int64) * 257) @ np.array(weights)) >> 8)
    g = np.asarray(grey)
    np.testing.assert_array_equal(np.asarray(vsk.gray_to_color(grey, 1.0, 1.0, 1.0)),
                                  np.stack([g] * 3, -1))
    np.testing.assert_array_equal(np.asarray(vsk.gray_to_color(grey)),
                                  np.stack([(g.astype(int) * k >> 8) & 255
                                            for k in (54, 183, 18)], -1))


def test_bit_reduction(rng):
    wide, w = random_image(rng, "16u", 3)
    np.testing.assert_array_equal(np.asarray(vsk.reduce_bits(wide)), w >> 8)
    grey, g = random_image(rng, "8u", 1)
    np.testing.assert_array_equal(vsk.reduce_bits(grey).unpacked(), g > 127)
    wide, w = random_image(rng, "16u", 1)
    dithered = vsk.reduce_bits(wide, ditherType="fs", levels=1)
    np.testing.assert_array_equal(np.asarray(dithered),
                                  direct(lib.vskReduceBits, wide, dithered, 0, 2, 1, ffi.NULL))
    assert set(np.unique(np.asarray(dithered))) <= {0, 127, 254}


@pytest.mark.parametrize("depth", ["8u", "16u", "32s"])
@pytest.mark.parametrize("forward, backward, model", [
    (vsk.rgb2hsv, vsk.hsv2rgb, "HSV"), (vsk.rgb2hls, vsk.hls2rgb, "HLS")])
def test_hue_conversions(rng, depth, forward, backward, model):
    img, a = random_image(rng, depth, 3)
    if depth == "32s":
        img = vsk.Image.from_array(np.abs(a >> 1), channel_seq="RGB")
    hue = forward(img)
    assert (hue.color_model, hue.channel_seq) == (model, model)
    c_forward, c_backward = {vsk.rgb2hsv: (lib.vskRGB2HSV, lib.vskHSV2RGB),
                             vsk.rgb2hls: (lib.vskRGB2HLS, lib.vskHLS2RGB)}[forward]
    np.testing.assert_array_equal(np.asarray(hue), direct(c_forward, img, hue, ffi.NULL))
    back = backward(hue)
    assert back.channel_seq == "RGB"
    np.testing.assert_array_equal(np.asarray(back), direct(c_backward, hue, back, ffi.NULL))
    red = vsk.Image.from_array(np.array([[[255, 0, 0], [0, 0, 255]]], np.uint8))
    if forward is vsk.rgb2hsv:
        np.testing.assert_array_equal(np.asarray(vsk.rgb2hsv(red)), [[[0, 255, 255],
                                                                       [120, 255, 255]]])


def test_exchange_swaps_regions(rng):
    img, a = random_image(rng, "8s", 2)
    other, b = random_image(rng, "8s", 2)
    vsk.exchange(img[1:3, :4], other[4:6, 2:6])
    expected_a, expected_b = a.copy(), b.copy()
    expected_a[1:3, :4], expected_b[4:6, 2:6] = b[4:6, 2:6], a[1:3, :4]
    np.testing.assert_array_equal(np.asarray(img), expected_a)
    np.testing.assert_array_equal(np.asarray(other), expected_b)


def test_get_rect_follows_the_border_modes(rng):
    row = np.arange(1, 6, dtype=np.uint8)[None, :]
    img = vsk.Image.from_array(row)
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
