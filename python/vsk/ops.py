"""One function per operation of the library.

Arguments keep the C header's names (``srcImage``, ``value``, ``dstTile``,
...); sources come first, then the operation's own arguments. Functions
that write a destination take ``out=`` (or ``dstImage=``) and otherwise make
one like the source: same depth, channels, order, names and alignment, the
size of the source's region of interest, the source's channel of interest.
"""

import struct
from fractions import Fraction

import numpy as np

from ._lib import C, VskError, call, ffi, lib
from .image import Image, Roi, _aligned, _free_header, _new_header, _pointer, depth_code

_INTERPOLATIONS = {"nn": 0, "nearest": 0, "linear": 1, "cubic": 2}
_OPERATORS = {"over": 0, "in": 1, "out": 2, "atop": 3, "xor": 4, "plus": 5}
_AXES = {"updown": 0, "leftright": 1, "both": -1}
_DITHERS = {"none": 1, "fs": 2, "jjn": 4, "stucki": 8, "ordered": 16}
_PALETTES = {"keep": 0, "fixed": 1, "median": 2}


# ---- argument helpers
def _img(image, name, optional=False):
    if image is None and optional:
        return ffi.NULL
    if not isinstance(image, Image):
        raise TypeError("%s must be a vsk.Image, not %s" % (name, type(image).__name__))
    return image.header


def _pair(value, name):
    if value is None:
        return ffi.NULL
    a, b = value
    return ffi.new("int[2]", [a, b])


def _code(value, table, name):
    if isinstance(value, str):
        try:
            return table[value.lower()]
        except KeyError:
            raise ValueError("%s must be one of %s, not %r" % (name, ", ".join(table), value))
    if isinstance(value, bool) or not isinstance(value, int):
        raise TypeError("%s must be a name or an int, not %r" % (name, value))
    return value


def _flag(value):
    return int(value) if isinstance(value, bool) else value


def _either(py_name, py_value, c_name, c_value, default=None):
    if py_value is not None and c_value is not None:
        raise TypeError("give %s or %s, not both" % (py_name, c_name))
    value = py_value if py_value is not None else c_value
    return default if value is None else value


def _like(src, width=None, height=None, depth=None, channels=None, channel_seq=None,
          color_model=None, alpha_channel=None, order=None, keep_coi=True):
    x, y, w, h = src._region()
    channels = src.channels if channels is None else channels
    if channel_seq is None and channels == src.channels:
        channel_seq, color_model = src.channel_seq, src.color_model
        alpha_channel = src.alpha_channel if alpha_channel is None else alpha_channel
    dst = Image.new(w if width is None else width, h if height is None else height,
                    src.depth_code if depth is None else depth, channels,
                    order=src.order if order is None else order, align=src.align,
                    channel_seq=channel_seq, color_model=color_model,
                    alpha_channel=alpha_channel, origin=src.origin)
    if keep_coi and src.coi and src.coi <= channels:
        dst.coi = src.coi
    return dst


def _dst(out, dstImage, make):
    out = _either("out", out, "dstImage", dstImage)
    if out is None:
        return make()
    _img(out, "out")
    return out


# ---- records
def create_image_header(nChannels, alphaChannel, depth, colorModel, channelSeq, dataOrder=0,
                        origin=0, align=4, height=0, width=0, roi=None, userId=None,
                        tileInfo=None):
    """tvskCreateImageHeader: an image with a header and no buffer yet (see allocate_image).

    ``roi`` is a Roi or None; ``tileInfo`` None or a (tile width, tile height)
    pair, which makes a tiled image with a TileStore, as Image.tiled does.
    """
    dataOrder = {"pixel": 0, "plane": 1}.get(dataOrder, dataOrder)
    if tileInfo is not None:
        img = Image.tiled(width, height, tileInfo, depth, nChannels,
                          order=dataOrder, align=align, channel_seq=channelSeq,
                          color_model=colorModel, alpha_channel=alphaChannel, origin=origin)
    else:
        img = Image(_new_header(nChannels, alphaChannel, depth_code(depth), colorModel,
                                channelSeq, dataOrder, origin, align, height, width))
    if roi is not None:
        img.roi = Roi(*roi)
    img.user_id = userId
    return img


def allocate_image(image, fillValue=-1):
    """tvskAllocateImage: gives a header-only image its buffer (-1: not filled)."""
    h = _img(image, "image")
    if h.imageData != ffi.NULL or h.tileInfo != ffi.NULL:
        raise ValueError("the image already has a buffer or tiles")
    lib.tvskAllocateImage(h, fillValue)
    if h.imageData == ffi.NULL:
        raise MemoryError("the library could not allocate %d bytes" % h.dataSize)
    image._adopt()
    return image


def deallocate(image, flags=31):
    """tvskDeallocate, made safe: releases what ``flags`` selects from the image.

    VSK_FREE_ROI drops the region of interest, VSK_FREE_TILE and VSK_FREE_DATA
    detach the tiles and the buffer (memory goes when no view uses it), and
    VSK_FREE_HEADER releases the header: the image can no longer be used.
    """
    h = _img(image, "image")
    if flags & C["VSK_FREE_ROI"]:
        image.roi = None
    if flags & C["VSK_FREE_TILE"] and h.tileInfo != ffi.NULL:
        h.tileInfo = ffi.NULL
        image._store = image._tileinfo = image._handle = None
    if flags & C["VSK_FREE_DATA"]:
        h.imageData = ffi.NULL
        image._mem = None
    if flags & C["VSK_FREE_HEADER"]:
        ffi.release(image._h)
        image._h = None


def create_roi(coi, xOffset, yOffset, height, width):
    """tvskCreateROI: a Roi record (coi, xOffset, yOffset, height, width) for ``image.roi``."""
    return Roi(coi, xOffset, yOffset, height, width)


def get_err_status():
    """tvskGetErrStatus. Always 0 between calls: failed calls raise VskError and reset it."""
    return lib.tvskGetErrStatus()


# ---- copy and fill
def copy(srcImage, *, out=None, dstImage=None, dstTile=None):
    """tvskCopy: copies the region (or channel) of interest."""
    s = _img(srcImage, "srcImage")
    dst = _dst(out, dstImage, lambda: _like(srcImage))
    call(lib.tvskCopy, s, dst.header, _pair(dstTile, "dstTile"))
    return dst


def exchange(srcImage, dstImage, *, dstTile=None):
    """vskExchange: swaps the regions of interest of two images."""
    call(lib.vskExchange, _img(srcImage, "srcImage"), _img(dstImage, "dstImage"),
         _pair(dstTile, "dstTile"))


def set(image, fillValue=0, *, dstTile=None):
    """tvskSet: fills the region (or channel) of interest in place, saturated to the depth."""
    call(lib.tvskSet, _img(image, "image"), fillValue, _pair(dstTile, "dstTile"))
    return image


# ---- arithmetic and logic
def add_s(srcImage, value, *, out=None, dstImage=None, dstTile=None):
    """tvskAddS: srcImage + value, saturated."""
    s = _img(srcImage, "srcImage")
    dst = _dst(out, dstImage, lambda: _like(srcImage))
    call(lib.tvskAddS, s, dst.header, value, _pair(dstTile, "dstTile"))
    return dst


def subtract_s(srcImage, value, reverse=False, *, out=None, dstImage=None, dstTile=None):
    """tvskSubtractS: srcImage - value, or value - srcImage with ``reverse``, saturated."""
    s = _img(srcImage, "srcImage")
    dst = _dst(out, dstImage, lambda: _like(srcImage))
    call(lib.tvskSubtractS, s, dst.header, value, _flag(reverse), _pair(dstTile, "dstTile"))
    return dst


def and_s(srcImage, value, *, out=None, dstImage=None, dstTile=None):
    """tvskAndS: srcImage AND value (negative values are taken as 32-bit patterns)."""
    s = _img(srcImage, "srcImage")
    dst = _dst(out, dstImage, lambda: _like(srcImage))
    if isinstance(value, int) and -2**31 <= value < 0:
        value &= 0xFFFFFFFF
    call(lib.tvskAndS, s, dst.header, value, _pair(dstTile, "dstTile"))
    return dst


def and_(srcImageA, srcImageB, *, out=None, dstImage=None, dstTile=None):
    """tvskAnd: srcImageA AND srcImageB."""
    a, b = _img(srcImageA, "srcImageA"), _img(srcImageB, "srcImageB")
    dst = _dst(out, dstImage, lambda: _like(srcImageA))
    call(lib.tvskAnd, a, b, dst.header, _pair(dstTile, "dstTile"))
    return dst


# ---- compositing
def alpha_composite(srcImageA, srcImageB, compositeType=None, *, alphaImageA=None,
                    alphaImageB=None, alphaImageDst=None, premulAlpha=None, divideMode=None,
                    out=None, dstImage=None, tilePoint=None, op=None, premultiplied=None,
                    divide=None):
    """tvskAlphaComposite: A ``op`` B with alphas from channels or alpha images.

    ``op``/``compositeType``: "over" (default), "in", "out", "atop", "xor",
    "plus" or 0-5; ``premultiplied``/``premulAlpha`` and ``divide``/``divideMode``
    are flags (default off).
    """
    a, b = _img(srcImageA, "srcImageA"), _img(srcImageB, "srcImageB")
    ops = [_img(i, n, True) for i, n in ((alphaImageA, "alphaImageA"),
                                         (alphaImageB, "alphaImageB"),
                                         (alphaImageDst, "alphaImageDst"))]
    kind = _code(_either("op", op, "compositeType", compositeType, "over"), _OPERATORS, "op")
    premul = _flag(_either("premultiplied", premultiplied, "premulAlpha", premulAlpha, 0))
    div = _flag(_either("divide", divide, "divideMode", divideMode, 0))
    dst = _dst(out, dstImage, lambda: _like(srcImageA))
    call(lib.tvskAlphaComposite, a, b, dst.header, kind, *ops, premul, div,
         _pair(tilePoint, "tilePoint"))
    return dst


def alpha_composite_c(srcImageA, srcImageB, alphaA=None, alphaB=None, compositeType=None, *,
                      premulAlpha=None, divideMode=None, out=None, dstImage=None,
                      tilePoint=None, op=None, premultiplied=None, divide=None):
    """tvskAlphaCompositeC: A ``op`` B with constant alphas (None: the image's alpha channel)."""
    a, b = _img(srcImageA, "srcImageA"), _img(srcImageB, "srcImageB")
    kind = _code(_either("op", op, "compositeType", compositeType, "over"), _OPERATORS, "op")
    premul = _flag(_either("premultiplied", premultiplied, "premulAlpha", premulAlpha, 0))
    div = _flag(_either("divide", divide, "divideMode", divideMode, 0))
    dst = _dst(out, dstImage, lambda: _like(srcImageA))
    call(lib.tvskAlphaCompositeC, a, b, dst.header, kind, -1 if alphaA is None else alphaA,
         -1 if alphaB is None else alphaB, premul, div, _pair(tilePoint, "tilePoint"))
    return dst


def pre_multiply_alpha(image, alpha=None, *, tilePoint=None):
    """vskPreMultiplyAlpha, in place: colours times the alpha channel, or times ``alpha``."""
    call(lib.vskPreMultiplyAlpha, _img(image, "image"), -1 if alpha is None else alpha,
         _pair(tilePoint, "tilePoint"))
    return image


def multiply_scale(srcImageA, srcImageB, *, out=None, dstImage=None, tilePoint=None):
    """vskMultiplyScale: A × B scaled back to the sample range (8 and 16 bits)."""
    a, b = _img(srcImageA, "srcImageA"), _img(srcImageB, "srcImageB")
    dst = _dst(out, dstImage, lambda: _like(srcImageA))
    call(lib.vskMultiplyScale, a, b, dst.header, _pair(tilePoint, "tilePoint"))
    return dst


def multiply_s_scale(srcImage, value, *, out=None, dstImage=None, tilePoint=None):
    """vskMultiplySScale: srcImage × value scaled back to the sample range."""
    s = _img(srcImage, "srcImage")
    dst = _dst(out, dstImage, lambda: _like(srcImage))
    call(lib.vskMultiplySScale, s, dst.header, value, _pair(tilePoint, "tilePoint"))
    return dst


# ---- geometry
def mirror(srcImage, flipAxis=1, *, out=None, dstImage=None, tilePoint=None):
    """tvskMirror: ``flipAxis`` 0 or "updown" reverses the rows, 1 or "leftright" (default)
    the columns, -1 or "both" both. ``out=srcImage`` mirrors in place."""
    s = _img(srcImage, "srcImage")
    dst = _dst(out, dstImage, lambda: _like(srcImage))
    call(lib.tvskMirror, s, dst.header, _code(flipAxis, _AXES, "flipAxis"),
         _pair(tilePoint, "tilePoint"))
    return dst


def _factor(pair, u, l, default, name):
    if u is not None or l is not None:
        if pair is not None:
            raise TypeError("give %s or %sU/%sL, not both" % (name, name, name))
        return (default[0] if u is None else u), (default[1] if l is None else l)
    if pair is None:
        return default
    if isinstance(pair, Fraction):
        return pair.numerator, pair.denominator
    if isinstance(pair, int):
        return pair, 1
    num, den = pair
    return num, den


def _scale(fn, srcImage, x, y, interpolate, xU, xL, yU, yL, interpolation, out, dstImage,
           dstTile, default):
    s = _img(srcImage, "srcImage")
    xu, xl = _factor(x, xU, xL, default, "x")
    yu, yl = _factor(y, yU, yL, default, "y")
    mode = _code(_either("interpolation", interpolation, "interpolate", interpolate, "linear"),
                 _INTERPOLATIONS, "interpolate")

    def make():
        _, _, w, h = srcImage._region()
        if xl <= 0 or yl <= 0:  # let the library report the factors
            return _like(srcImage)
        return _like(srcImage, width=max(w * xu // xl, 1), height=max(h * yu // yl, 1))
    dst = _dst(out, dstImage, make)
    call(fn, s, dst.header, xu, xl, yu, yl, mode, _pair(dstTile, "dstTile"))
    return dst


def zoom(srcImage, x=None, y=None, interpolate=None, *, xU=None, xL=None, yU=None, yL=None,
         interpolation=None, out=None, dstImage=None, dstTile=None):
    """tvskZoom: enlarges by x = (xU, xL) and y = (yU, yL) (default 2/1 each), with
    ``interpolate``/``interpolation`` "nn", "linear" (default) or "cubic". The new
    destination has (columns × xU // xL) × (rows × yU // yL) pixels."""
    return _scale(lib.tvskZoom, srcImage, x, y, interpolate, xU, xL, yU, yL, interpolation,
                  out, dstImage, dstTile, (2, 1))


def decimate(srcImage, x=None, y=None, interpolate=None, *, xU=None, xL=None, yU=None,
             yL=None, interpolation=None, out=None, dstImage=None, dstTile=None):
    """tvskDecimate: reduces by x = (xU, xL) and y = (yU, yL) (default 1/2 each)."""
    return _scale(lib.tvskDecimate, srcImage, x, y, interpolate, xU, xL, yU, yL,
                  interpolation, out, dstImage, dstTile, (1, 2))


# ---- filtering
def blur(srcImage, nRows=5, nCols=5, anchorX=None, anchorY=None, *, out=None, dstImage=None,
         tilePoint=None):
    """tvskBlur: mean over an nRows × nCols box, anchored at its centre by default.
    Pixels beyond the edges follow the source's border modes (Image.set_border)."""
    s = _img(srcImage, "srcImage")
    dst = _dst(out, dstImage, lambda: _like(srcImage))
    ax = nCols // 2 if anchorX is None else anchorX
    ay = nRows // 2 if anchorY is None else anchorY
    call(lib.tvskBlur, s, dst.header, nRows, nCols, ax, ay, _pair(tilePoint, "tilePoint"))
    return dst


# ---- colour
def _whole_like(src, **kw):
    return _like(src.whole if src.roi is not None else src, keep_coi=False, **kw)


def color_to_gray(srcImage, *, depth=None, out=None, dstImage=None, dstTile=None):
    """tvskColorToGray: one grey channel (a new destination is 8u or 16u like the
    source, 16u for 32s sources, or ``depth``). Colour operations take whole images."""
    s = _img(srcImage, "srcImage")
    if depth is None:
        depth = "16u" if srcImage.depth_code == C["VSK_32S"] else srcImage.depth_code
    dst = _dst(out, dstImage, lambda: _whole_like(srcImage, depth=depth_code(depth),
                                                  channels=1, order="pixel"))
    call(lib.tvskColorToGray, s, dst.header, _pair(dstTile, "dstTile"))
    return dst


def gray_to_color(srcImage, redFraction=0.0, greenFraction=0.0, blueFraction=0.0, *,
                  out=None, dstImage=None, dstTile=None):
    """tvskGrayToColor: three "RGB" channels from one; fractions (0, 0, 0) select the
    luminance weights. A new destination keeps the source's order (1u becomes 8u)."""
    s = _img(srcImage, "srcImage")
    depth = C["VSK_8U"] if srcImage.depth_code == C["VSK_1U"] else srcImage.depth_code
    dst = _dst(out, dstImage, lambda: _whole_like(srcImage, depth=depth, channels=3,
                                                  channel_seq="RGB"))
    call(lib.tvskGrayToColor, s, dst.header, redFraction, greenFraction, blueFraction,
         _pair(dstTile, "dstTile"))
    return dst


def reduce_bits(srcImage, jitterType=0, ditherType="none", levels=2, *, depth=None,
                out=None, dstImage=None, dstTile=None):
    """vskReduceBits: to a smaller depth (a new destination: 32s to 16u, 16u to 8u, 8u to
    1u, or ``depth``), with jitter 0-8 and ``ditherType`` "none", "fs", "jjn", "stucki",
    "ordered" (or 1, 2, 4, 8, 16) re-quantising to about 2**levels levels."""
    s = _img(srcImage, "srcImage")
    if depth is None:
        depth = {C["VSK_32S"]: "16u", C["VSK_16U"]: "8u"}.get(srcImage.depth_code, "1u")
    code = depth_code(depth)
    dst = _dst(out, dstImage, lambda: _whole_like(
        srcImage, depth=code, channels=1 if code == C["VSK_1U"] else None))
    call(lib.vskReduceBits, s, dst.header, jitterType, _code(ditherType, _DITHERS, "ditherType"),
         levels, _pair(dstTile, "dstTile"))
    return dst


def _hue(fn, srcImage, out, dstImage, dstTile):
    s = _img(srcImage, "srcImage")
    dst = _dst(out, dstImage, lambda: _whole_like(srcImage))
    call(fn, s, dst.header, _pair(dstTile, "dstTile"))
    return dst


def rgb2hsv(srcImage, *, out=None, dstImage=None, dstTile=None):
    """vskRGB2HSV (the destination's names become "HSV")."""
    return _hue(lib.vskRGB2HSV, srcImage, out, dstImage, dstTile)


def hsv2rgb(srcImage, *, out=None, dstImage=None, dstTile=None):
    """vskHSV2RGB (the destination's names become "RGB")."""
    return _hue(lib.vskHSV2RGB, srcImage, out, dstImage, dstTile)


def rgb2hls(srcImage, *, out=None, dstImage=None, dstTile=None):
    """vskRGB2HLS (the destination's names become "HLS")."""
    return _hue(lib.vskRGB2HLS, srcImage, out, dstImage, dstTile)


def hls2rgb(srcImage, *, out=None, dstImage=None, dstTile=None):
    """vskHLS2RGB (the destination's names become "RGB")."""
    return _hue(lib.vskHLS2RGB, srcImage, out, dstImage, dstTile)


# ---- device-independent bitmaps
_DIB_HEADER = struct.Struct("<IiiHHIIiiII")


def dib_color_count(bitCount, compression, clrUsed):
    """Colour-table entries (or 3 bit-field masks) between a DIB's header and its rows."""
    if bitCount in (1, 4, 8):
        return clrUsed or 1 << bitCount
    if bitCount in (16, 32):
        return {C["BI_RGB"]: 0, C["BI_BITFIELDS"]: 3}.get(compression, clrUsed)
    return 0 if bitCount == 24 else clrUsed


def _dib_fields(data):
    if len(data) < _DIB_HEADER.size:
        raise ValueError("a DIB needs at least its 40-byte header, got %d bytes" % len(data))
    return _DIB_HEADER.unpack_from(data)


def _dib_extent(data, table_entries=0):
    """Bytes the library may touch in a DIB, by its own header; 40 when it refuses it."""
    size, width, height, planes, bits, comp, _, _, _, used, _ = _dib_fields(data)
    if size != 40 or planes != 1 or comp not in (C["BI_RGB"], C["BI_BITFIELDS"]):
        return 40
    entries = max(dib_color_count(bits, comp, used), table_entries)
    row = ((max(width, 0) * bits + 31) & ~31) // 8
    return 40 + 4 * entries + abs(height) * row


def _dib_copy(dib):
    data = memoryview(dib).cast("B")
    need = _dib_extent(data)
    if len(data) < need:
        raise ValueError("the DIB's header describes %d bytes, the buffer holds %d"
                         % (need, len(data)))
    mem, off = _aligned(len(data), 8)
    mem[off:off + len(data)] = np.frombuffer(data, np.uint8)
    return mem, off


def translate_dib(dib):
    """tvskTranslateDIB: an image made for a DIB (bytes-like: header, table, rows).

    The image works on its own copy of the DIB; ``image.clone_data`` is the
    library's flag (True when the image's rows are the DIB's own). Rows are
    in memory order: ``origin`` 1 means bottom-up, as in the DIB.
    """
    mem, off = _dib_copy(dib)
    flag = ffi.new("int *")
    h = call(lib.tvskTranslateDIB, ffi.cast("BITMAPINFOHEADER *", _pointer(mem, off)), flag)
    if h == ffi.NULL:
        raise VskError(C["VSK_STATUS_INTERNAL"])
    img = Image(ffi.gc(h, _free_header))
    if flag[0]:
        img._mem, img._off = mem, int(ffi.cast("uintptr_t", h.imageData)) - mem.ctypes.data
    else:
        img._adopt()
    img.clone_data = bool(flag[0])
    return img


def _is_gray_ramp(data, count):
    if count < 2 or len(data) < 40 + 4 * count:
        return False
    table = np.frombuffer(data, np.uint8, 4 * count, 40).reshape(count, 4)[:, :3]
    ramp = (255 * np.arange(count)) // (count - 1)
    return bool((table == ramp[:, None]).all())


def convert_from_dib(dib, image=None, *, out=None):
    """tvskConvertFromDIB: a DIB's pixels into ``image`` (or a new image: grey for a
    grey-ramp table, "RGBA" for 32 bits, else "RGB"; 8u, origin 0)."""
    mem, off = _dib_copy(dib)
    image = _either("image", image, "out", out)
    if image is None:
        _, width, height, _, bits, comp, _, _, _, used, _ = _dib_fields(mem[off:off + 40])
        count = dib_color_count(bits, comp, used)
        gray = bits <= 8 and _is_gray_ramp(mem[off:].tobytes(), count)
        image = Image.new(max(width, 0), abs(height), "8u", 1 if gray else 4 if bits == 32 else 3)
    h = _img(image, "image")
    call(lib.tvskConvertFromDIB, ffi.cast("BITMAPINFOHEADER *", _pointer(mem, off)), h)
    return image


def convert_to_dib(image, bits=None, palette=None, dither=1, *, paletteConversion=None,
                   colors=None, masks=None, dib=None):
    """tvskConvertToDIB: returns the bytes of a BMP-ready DIB (header, table, rows).

    ``bits`` 1, 4, 8, 16, 24 or 32 (default: 1 for 1-bit images, else 8, 24
    or 32 by channel count). ``palette``/``paletteConversion``: "keep" (the
    ``colors`` given, an (n, 3) RGB array), "fixed" (default) or "median"
    (or 0, 1, 2). ``masks`` = (red, green, blue) writes BI_BITFIELDS at 16
    and 32 bits. ``dib`` = a writable buffer holding a prepared DIB is
    written in place (its header is checked against its size) and returned.
    """
    h = _img(image, "image")
    mode = _code(_either("palette", palette, "paletteConversion", paletteConversion, "fixed"),
                 _PALETTES, "palette")
    if dib is not None:
        if memoryview(dib).readonly:
            raise TypeError("dib must be a writable buffer, such as a bytearray")
        buf = ffi.from_buffer("char[]", dib, require_writable=True)
        head = ffi.buffer(buf, min(len(buf), 40))
        bits = _dib_fields(head)[4]
        # A median-cut table may grow to 2**bits entries whatever the header says.
        need = _dib_extent(head, 1 << bits if mode == 2 and bits <= 8 else 0)
        if len(buf) < need:
            raise ValueError("the DIB's header describes %d bytes, the buffer holds %d"
                             % (need, len(buf)))
        call(lib.tvskConvertToDIB, h, ffi.cast("BITMAPINFOHEADER *", buf), dither, mode)
        return dib
    if bits is None:
        bits = 1 if image.depth_code == C["VSK_1U"] else {3: 24, 4: 32}.get(image.channels, 8)
    width, height = image.width, image.height
    table, used, comp = b"", 0, C["BI_RGB"]
    if bits <= 8:
        if colors is not None:
            rgb = np.asarray(colors, np.uint8).reshape(-1, 3)
            quad = np.zeros((len(rgb), 4), np.uint8)
            quad[:, 0], quad[:, 1], quad[:, 2] = rgb[:, 2], rgb[:, 1], rgb[:, 0]
            table, used = quad.tobytes(), len(rgb)
        elif mode == 0:
            raise ValueError('palette "keep" needs the colors')
        room = 4 << bits if mode == 2 or colors is None else 0
        table += bytes(max(0, room - len(table)))
    elif masks is not None:
        table, comp = struct.pack("<3I", *masks), C["BI_BITFIELDS"]
    row = ((width * bits + 31) & ~31) // 8
    header = _DIB_HEADER.pack(40, width, height, 1, bits, comp, row * height, 0, 0, used, 0)
    buf = bytearray(header + table + bytes(row * height))
    call(lib.tvskConvertToDIB, h, ffi.cast("BITMAPINFOHEADER *", ffi.from_buffer(buf)), dither,
         mode)
    _, _, _, _, bits, comp, _, _, _, used, _ = _dib_fields(buf)
    return bytes(buf[:40 + 4 * dib_color_count(bits, comp, used) + row * height])


def bmp_from_dib(dib):
    """The bytes of a .bmp file holding a DIB (a 14-byte file header before it)."""
    data = bytes(dib)
    _, _, _, _, bits, comp, _, _, _, used, _ = _dib_fields(data)
    offset = 14 + 40 + 4 * dib_color_count(bits, comp, used)
    return b"BM" + struct.pack("<IHHI", 14 + len(data), 0, 0, offset) + data


# ---- helpers of the image model
def set_border_mode(image, mode, sideMask=15, value=0):
    """vskSetBorderMode: see Image.set_border."""
    return image.set_border(mode, sideMask, value)


def get_rect(image, x, y, width, height):
    """vskGetRect: a rectangle of an image (outside pixels by its border modes) as a
    new buffered image of the same format."""
    h = _img(image, "image")
    if width <= 0 or height <= 0:
        raise ValueError("the rectangle must have a positive size")
    step = ffi.new("int *")
    p = call(lib.vskGetRect, h, x, y, width, height, step)
    if p == ffi.NULL:
        raise ValueError("the library could not fetch the rectangle (no pixels, a refused tile "
                         "or no memory)")
    try:
        dst = Image.new(width, height, image.depth_code, image.channels, order=image.order,
                        align=image.align, channel_seq=image.channel_seq,
                        color_model=image.color_model, alpha_channel=image.alpha_channel,
                        origin=image.origin)
        planes = image.channels if image.order == "plane" else 1
        rows = np.frombuffer(ffi.buffer(p, step[0] * height * planes), np.uint8)
        dst._rows()[:, :step[0]] = rows.reshape(height * planes, step[0])[:, :dst.width_step]
    finally:
        lib.vskFreeAligned(p)
    return dst


def bad_image_header(image):
    """vskBadImageHeader: the bit mask of the header's faults (0 when valid)."""
    return lib.vskBadImageHeader(_img(image, "image"))


def header_error_text(mask):
    """vskHeaderErrorText: the messages of a header fault mask ("" for 0)."""
    p = lib.vskHeaderErrorText(mask)
    if p == ffi.NULL:
        return ""
    text = ffi.string(p).decode("latin-1")
    if text not in ("Bad status: unknown error", "Out of memory"):  # the two static texts
        lib.vskFreeAligned(p)
    return text


def error_text(status):
    """vskErrorText: the text of a status code."""
    return ffi.string(lib.vskErrorText(status)).decode("latin-1")


def version():
    """vskGetVersionRecord as a dict."""
    r = lib.vskGetVersionRecord()
    out = {"major": r.major, "minor": r.minor, "build": r.build}
    for k in ("name", "version", "internalVersion", "buildDate", "callConv"):
        p = getattr(r, k)
        out[k] = None if p == ffi.NULL else ffi.string(p).decode("latin-1")
    return out


__all__ = [
    "create_image_header", "allocate_image", "deallocate", "create_roi", "get_err_status",
    "copy", "exchange", "set", "add_s", "subtract_s", "and_s", "and_", "alpha_composite",
    "alpha_composite_c", "pre_multiply_alpha", "multiply_scale", "multiply_s_scale", "mirror",
    "zoom", "decimate", "blur", "color_to_gray", "gray_to_color", "reduce_bits", "rgb2hsv",
    "hsv2rgb", "rgb2hls", "hls2rgb", "translate_dib", "convert_from_dib", "convert_to_dib",
    "dib_color_count", "bmp_from_dib", "set_border_mode", "get_rect", "bad_image_header",
    "header_error_text", "error_text", "version"]
