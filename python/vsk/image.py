"""vsk.Image: a VskImage header with its buffer or its Python tile store."""

from collections import namedtuple

import numpy as np

from ._lib import C, ffi, lib, note_exception

DEPTHS = {"1u": C["VSK_1U"], "8u": C["VSK_8U"], "16u": C["VSK_16U"],
          "8s": C["VSK_8S"], "16s": C["VSK_16S"], "32s": C["VSK_32S"]}
_DEPTH_NAMES = {code: name for name, code in DEPTHS.items()}
_DTYPES = {C["VSK_8U"]: np.uint8, C["VSK_16U"]: np.uint16, C["VSK_8S"]: np.int8,
           C["VSK_16S"]: np.int16, C["VSK_32S"]: np.int32}
_DEPTH_OF_KIND = {(np.dtype(t).kind, np.dtype(t).itemsize): code for code, t in _DTYPES.items()}
_DEPTH_OF_KIND[("b", 1)] = C["VSK_1U"]
_ORDERS = {"pixel": 0, "plane": 1, 0: 0, 1: 1}
_INT_MAX = 2**31 - 1


class Roi(namedtuple("Roi", "coi xOffset yOffset height width")):
    """A region of interest in the library's field order (height before width)."""


def depth_code(depth):
    """The library's depth code for "1u", "8u", "16u", "8s", "16s", "32s" or a code."""
    if isinstance(depth, str) and depth.lower() in DEPTHS:
        return DEPTHS[depth.lower()]
    if isinstance(depth, int) and not isinstance(depth, bool) and depth in _DEPTH_NAMES:
        return depth
    raise ValueError("unknown depth %r (expected one of %s)" % (depth, ", ".join(DEPTHS)))


def _name4(text, what):
    if isinstance(text, str):
        text = text.encode("ascii")
    if not isinstance(text, bytes) or len(text) > 4:
        raise ValueError("%s must be at most 4 ASCII characters, not %r" % (what, text))
    return ffi.new("char[5]", text.ljust(4, b"\0"))  # the library reads exactly 4 bytes


def _defaults(channels, channel_seq, color_model, alpha_channel):
    if channel_seq is None:
        channel_seq = {1: "G", 2: "GA", 3: "RGB", 4: "RGBA"}.get(channels, "")
    seq = channel_seq.decode("ascii") if isinstance(channel_seq, bytes) else channel_seq
    if color_model is None:
        if seq.upper().startswith("G"):
            color_model = "GRAY"
        elif seq.upper() in ("RGB", "BGR"):
            color_model = "RGB"
        elif seq.upper() in ("RGBA", "BGRA"):
            color_model = "RGBA"
        else:
            color_model = seq
    if alpha_channel is None:
        alpha_channel = channels if channels > 1 and seq.upper().endswith("A") else 0
    return channel_seq, color_model, alpha_channel


def _row_bytes(order, depth, align, channels, width):
    """Row stride as the library computes it, in unbounded integers."""
    bits = (depth & 0x7FFFFFFF) * width * (channels if order == 0 else 1)
    unit = 8 * align
    return bits, ((bits + unit - 1) & ~(unit - 1)) >> 3


def _aligned(nbytes, align):
    mem = np.zeros(nbytes + align, np.uint8)
    off = (-mem.ctypes.data) % align
    return mem, off


def _pointer(mem, off):
    return ffi.cast("char *", mem.ctypes.data + off)


def _free_header(h):
    lib.tvskDeallocate(h, C["VSK_FREE_HEADER"])


def _new_header(channels, alpha, depth, model, seq, order, origin, align, height, width,
                tileinfo=ffi.NULL):
    h = lib.tvskCreateImageHeader(channels, alpha, depth, _name4(model, "color_model"),
                                  _name4(seq, "channel_seq"), order, origin, align, height,
                                  width, ffi.NULL, ffi.NULL, tileinfo)
    if h == ffi.NULL:
        raise ValueError(
            "the library refused the header (channels=%r, alpha_channel=%r, depth=%r, order=%r, "
            "origin=%r, align=%r, height=%r, width=%r)"
            % (channels, alpha, _DEPTH_NAMES.get(depth, depth), order, origin, align, height,
               width))
    return ffi.gc(h, _free_header)


class TileStore:
    """Python-side tiles of a tiled image, handed to the library by its call-back.

    Tiles are made on first request (zero-filled) and kept in ``tiles``,
    keyed by (column, row). Every call of the library is appended to ``log``
    as (column, row, mode) with mode 1 (read), 2 (write) or 4 (release).
    A tile in ``refuse`` (a set of (column, row), or a function of
    (column, row, mode) returning true) is not handed out: the library sees
    a null tile. Subclasses may override ``get`` and ``release``.
    """

    def __init__(self):
        self.tiles = {}
        self.log = []
        self.refuse = set()
        self.held = {}
        self.tile_bytes = 0

    def _bind(self, image, tile_bytes):
        self._image = image
        self.tile_bytes = tile_bytes

    def get(self, column, row, mode):
        """Returns the tile's bytes (a uint8 array of at least tile_bytes), or None to refuse."""
        if column < 0 or row < 0:
            return None
        refuse = self.refuse
        if callable(refuse) and refuse(column, row, mode) or \
                not callable(refuse) and (column, row) in refuse:
            return None
        return self._tile_bytes(column, row)

    def release(self, column, row):
        """Called when the library gives a tile back."""

    def _tile_bytes(self, column, row):
        t = self.tiles.get((column, row))
        if t is None:
            mem, off = _aligned(self.tile_bytes, 8)
            t = self.tiles[(column, row)] = mem[off:off + self.tile_bytes]
        return t

    def tile(self, column, row):
        """The tile as an array shaped like the image's own (made if absent)."""
        return self._image._tile_view(self._tile_bytes(column, row))

    def _hand_out(self, column, row, mode):
        self.log.append((column, row, mode))
        t = self.get(column, row, mode)
        if t is None:
            return ffi.NULL
        t = np.asarray(t)
        if t.dtype != np.uint8 or not t.flags.c_contiguous or t.nbytes < self.tile_bytes:
            raise ValueError("a tile must be a contiguous uint8 array of at least %d bytes"
                             % self.tile_bytes)
        self.held[(column, row)] = t
        return ffi.cast("void *", t.ctypes.data)

    def _give_back(self, column, row):
        self.log.append((column, row, C["VSK_TILE_RELEASE"]))
        self.held.pop((column, row), None)
        self.release(column, row)


@ffi.callback("VskTileCallback")
def _on_tile(image, column, row, mode):
    info = image.tileInfo
    try:
        store = ffi.from_handle(info.id)
        if mode == C["VSK_TILE_RELEASE"]:
            store._give_back(column, row)
            info.tileData = ffi.NULL
        else:
            info.tileData = store._hand_out(column, row, mode)
    except BaseException as e:  # never let an exception cross into C
        info.tileData = ffi.NULL
        note_exception(e)


class Image:
    """An image: a VskImage header that owns its pixel buffer (or tile store).

    Make one with ``Image.new``, ``Image.from_array`` or ``Image.tiled``.
    ``numpy.asarray(image)`` is a view of the region of interest (the whole
    image without one): (rows, columns[, channels]) in pixel order,
    (planes, rows, columns) in plane order; 1-bit images give ``unpacked()``.
    ``image[y0:y1, x0:x1]`` is a view image with that region, sharing the
    buffer; ``roi`` and ``coi`` read and set the region and channel.
    """

    def __init__(self, _header=None, **state):
        if _header is None:
            raise TypeError("use Image.new, Image.from_array or Image.tiled")
        self._h = _header
        self._mem = state.get("mem")
        self._off = state.get("off", 0)
        self._store = state.get("store")
        self._tileinfo = state.get("tileinfo")
        self._handle = state.get("handle")
        self._roi = None
        self.clone_data = None

    # ---- construction
    @classmethod
    def new(cls, width, height, depth="8u", channels=1, *, order="pixel", align=4,
            channel_seq=None, color_model=None, alpha_channel=None, origin=0, fill=None):
        """A buffered image, zero-filled (or filled by ``vsk.set`` with ``fill``)."""
        code, order, channels = cls._check(width, height, depth, channels, order, align)
        seq, model, alpha = _defaults(channels, channel_seq, color_model, alpha_channel)
        bits, step = _row_bytes(order, code, align, channels, width)
        size = step * height * (channels if order == 1 else 1)
        if bits + 8 * align > _INT_MAX or size > _INT_MAX:
            raise ValueError("image of %d x %d x %d at depth %s is too large for the library"
                             % (width, height, channels, _DEPTH_NAMES[code]))
        h = _new_header(channels, alpha, code, model, seq, order, origin, align, height, width)
        mem, off = _aligned(size, align)
        h.imageData = _pointer(mem, off)
        img = cls(h, mem=mem, off=off)
        if fill:
            from .ops import set as fill_image
            fill_image(img, fill)
        return img

    @classmethod
    def from_array(cls, a, channel_seq=None, order="pixel", align=4, *, depth=None,
                   color_model=None, alpha_channel=None, origin=0):
        """An image holding a copy of a numpy array.

        2-D arrays are one channel; 3-D arrays are (rows, columns, channels)
        in pixel order and (planes, rows, columns) in plane order, the shape
        ``numpy.asarray`` gives back. dtypes uint8, uint16, int8, int16,
        int32; bool (or ``depth="1u"``) packs to 1 bit.
        """
        a = np.asarray(a)
        if depth is None:
            code = _DEPTH_OF_KIND.get((a.dtype.kind, a.dtype.itemsize))
            if code is None:
                raise TypeError("unsupported dtype %s (uint8, uint16, int8, int16, int32, bool)"
                                % a.dtype)
        else:
            code = depth_code(depth)
        order_code = _ORDERS.get(order)
        if a.ndim == 2:
            rows, cols, channels = a.shape[0], a.shape[1], 1
        elif a.ndim == 3 and order_code == 1:
            channels, rows, cols = a.shape
        elif a.ndim == 3:
            rows, cols, channels = a.shape
        else:
            raise ValueError("expected a 2-D or 3-D array, not shape %s" % (a.shape,))
        img = cls.new(cols, rows, code, channels, order=order, align=align,
                      channel_seq=channel_seq, color_model=color_model,
                      alpha_channel=alpha_channel, origin=origin)
        if code == C["VSK_1U"]:
            packed = np.packbits(a.reshape(rows, cols) != 0, axis=1)
            img._rows()[:, :packed.shape[1]] = packed
            return img
        target = np.dtype(_DTYPES[code])
        if a.dtype != target and a.size:
            info = np.iinfo(target)
            if a.dtype.kind not in "biu" or a.min() < info.min or a.max() > info.max:
                raise ValueError("values of the %s array do not fit depth %s"
                                 % (a.dtype, _DEPTH_NAMES[code]))
        np.asarray(img)[...] = a.reshape(np.asarray(img).shape)
        return img

    @classmethod
    def tiled(cls, width, height, tile=(64, 64), depth="8u", channels=1, *, order="pixel",
              align=4, channel_seq=None, color_model=None, alpha_channel=None, origin=0,
              store=None):
        """A tiled image whose tiles (``tile`` = (width, height)) live in a ``TileStore``."""
        code, order, channels = cls._check(width, height, depth, channels, order, align)
        tw, th = (int(v) for v in tile)
        if tw <= 0 or th <= 0:
            raise ValueError("tile sizes must be positive, not %r" % (tile,))
        bits, step = _row_bytes(order, code, align, channels, tw)
        tile_bytes = step * th * (channels if order == 1 else 1)
        if bits + 8 * align > _INT_MAX or tile_bytes > _INT_MAX:
            raise ValueError("tiles of %d x %d are too large" % (tw, th))
        seq, model, alpha = _defaults(channels, channel_seq, color_model, alpha_channel)
        store = TileStore() if store is None else store
        handle = ffi.new_handle(store)
        info = ffi.new("VskTileInfo *", {"callBack": _on_tile, "id": handle,
                                         "width": tw, "height": th})
        h = _new_header(channels, alpha, code, model, seq, order, origin, align, height, width,
                        info)
        img = cls(h, store=store, tileinfo=info, handle=handle)
        store._bind(img, tile_bytes)
        return img

    @staticmethod
    def _check(width, height, depth, channels, order, align):
        code = depth_code(depth)
        if order not in _ORDERS:
            raise ValueError("order must be 'pixel' or 'plane', not %r" % (order,))
        if align not in (4, 8):
            raise ValueError("align must be 4 or 8, not %r" % (align,))
        if width < 0 or height < 0 or channels < 1:
            raise ValueError("bad size %r x %r x %r" % (width, height, channels))
        if code == C["VSK_1U"] and channels != 1:
            raise ValueError("1-bit images have one channel")
        return code, _ORDERS[order], channels

    def _adopt(self):
        """Moves a buffer the library allocated into Python-owned memory."""
        h = self._h
        if h.dataBlock == ffi.NULL or h.imageData == ffi.NULL:
            return
        mem, off = _aligned(h.dataSize, max(h.align, 4))
        ffi.memmove(_pointer(mem, off), h.imageData, h.dataSize)
        lib.tvskDeallocate(h, C["VSK_FREE_DATA"])
        h.imageData = _pointer(mem, off)
        self._mem, self._off = mem, off

    # ---- header fields
    @property
    def header(self):
        """The VskImage header (cffi pointer), for calling the C library directly."""
        if self._h is None:
            raise ValueError("the image has been released")
        return self._h

    width = property(lambda self: self.header.width)
    height = property(lambda self: self.header.height)
    channels = property(lambda self: self.header.nChannels)
    alpha_channel = property(lambda self: self.header.alphaChannel)
    depth_code = property(lambda self: self.header.depth)
    depth = property(lambda self: _DEPTH_NAMES.get(self.header.depth, self.header.depth))
    order = property(lambda self: "plane" if self.header.dataOrder == 1 else "pixel")
    origin = property(lambda self: self.header.origin)
    align = property(lambda self: self.header.align)
    width_step = property(lambda self: self.header.widthStep)
    data_size = property(lambda self: self.header.dataSize)
    is_tiled = property(lambda self: self.header.tileInfo != ffi.NULL)
    tiles = property(lambda self: self._store, doc="The TileStore of a tiled image.")
    channel_seq = property(lambda self: self._name(self.header.channelSeq))
    color_model = property(lambda self: self._name(self.header.colorModel))

    @staticmethod
    def _name(field):
        return ffi.unpack(field, 4).rstrip(b"\0").decode("latin-1")

    @property
    def tile_size(self):
        info = self.header.tileInfo
        return None if info == ffi.NULL else (info.width, info.height)

    @property
    def dtype(self):
        return np.dtype(_DTYPES.get(self.header.depth, np.uint8))

    @property
    def roi(self):
        """(x, y, width, height) of the region of interest, or None."""
        r = self.header.roi
        return None if r == ffi.NULL else (r.xOffset, r.yOffset, r.width, r.height)

    @roi.setter
    def roi(self, value):
        h = self.header
        if value is None:
            h.roi = ffi.NULL
            self._roi = None
            return
        if isinstance(value, Roi):
            coi, x, y, height, width = value
        else:
            x, y, width, height = value
            coi = self.coi
        self._roi = ffi.new("VskROI *", [coi, x, y, height, width])
        h.roi = self._roi

    @property
    def coi(self):
        """Channel of interest, 1-based; 0 for all channels."""
        r = self.header.roi
        return 0 if r == ffi.NULL else r.coi

    @coi.setter
    def coi(self, value):
        if self.header.roi == ffi.NULL:
            self.roi = Roi(value, 0, 0, self.height, self.width)
        else:
            self._roi.coi = value

    def set_border(self, mode, sides=15, value=0):
        """Border mode ("constant", "replicate", "reflect", "wrap" or 0-3) of the sides
        selected by ``sides`` (bits 1 top, 2 bottom, 4 left, 8 right), as vskSetBorderMode."""
        if isinstance(mode, str):
            mode = C["VSK_BORDER_" + mode.upper()]
        lib.vskSetBorderMode(self.header, mode, sides, value)
        return self

    @property
    def border_modes(self):
        return tuple(self.header.borderModes), tuple(self.header.borderValues)

    def _region(self):
        """The clipped region of interest (x, y, width, height), as the library clips it."""
        h = self.header
        r = h.roi
        if r == ffi.NULL:
            return 0, 0, h.width, h.height
        x, w, y, hh = r.xOffset, r.width, r.yOffset, r.height
        if x >= h.width or x + w < 1:
            x = w = 0
        if y >= h.height or y + hh < 1:
            y = hh = 0
        if x < 0:
            w, x = w + x, 0
        if y < 0:
            hh, y = hh + y, 0
        w = min(w, h.width - x)
        hh = min(hh, h.height - y)
        return x, y, max(w, 0), max(hh, 0)

    @property
    def shape(self):
        x, y, w, h = self._region()
        n = self.channels
        if n == 1:
            return (h, w)
        return (n, h, w) if self.order == "plane" else (h, w, n)

    # ---- numpy views
    def _rows(self):
        """The whole buffer as (rows × planes, widthStep) bytes."""
        h = self.header
        if h.imageData == ffi.NULL or self._mem is None:
            raise TypeError("the image has no buffer%s" %
                            (" (it is tiled: copy it with vsk.copy)" if self.is_tiled else ""))
        rows = h.dataSize // h.widthStep if h.widthStep > 0 else 0
        return np.ndarray((rows, h.widthStep), np.uint8, self._mem, self._off)

    @property
    def buffer(self):
        """The whole pixel buffer (padding included) as a 1-D uint8 view."""
        h = self.header
        self._rows()
        return np.ndarray((h.dataSize,), np.uint8, self._mem, self._off)

    def _typed(self, mem, off, step, rows, cols, planes_apart, x=0, y=0):
        h = self.header
        dtype = np.dtype(_DTYPES[h.depth])
        b, n = dtype.itemsize, h.nChannels
        if h.dataOrder == 1:
            shape, strides = (n, rows, cols), (planes_apart, step, b)
            off += y * step + x * b
        else:
            shape, strides = (rows, cols, n), (step, n * b, b)
            off += y * step + x * n * b
        if n == 1:
            shape, strides = shape[1:] if h.dataOrder == 1 else shape[:2], \
                strides[1:] if h.dataOrder == 1 else strides[:2]
        return np.ndarray(shape, dtype, mem, off, strides)

    def _tile_view(self, tile):
        h = self.header
        tw, th = self.tile_size
        _, step = _row_bytes(h.dataOrder, h.depth, h.align, h.nChannels, tw)
        if h.depth == C["VSK_1U"]:
            return tile[:step * th].reshape(th, step)
        return self._typed(tile, 0, step, th, tw, step * th)

    def __array__(self, dtype=None, copy=None):
        h = self.header
        if h.depth == C["VSK_1U"]:
            raise TypeError("a 1-bit image is packed: use image.unpacked() for a bool copy")
        self._rows()
        x, y, w, hh = self._region()
        a = self._typed(self._mem, self._off, h.widthStep, hh, w, h.widthStep * h.height, x, y)
        if dtype is not None and np.dtype(dtype) != a.dtype:
            if copy is False:
                raise ValueError("a view in another dtype needs a copy")
            return a.astype(dtype)
        return a.copy() if copy else a

    def unpacked(self):
        """A copy of the region of interest; 1-bit images unpacked to bool."""
        if self.header.depth != C["VSK_1U"]:
            return np.array(self)
        x, y, w, h = self._region()
        bits = np.unpackbits(self._rows()[y:y + h], axis=1)
        return bits[:, x:x + w].astype(bool)

    def to_array(self):
        """A copy of the region of interest, also for tiled and 1-bit images."""
        if self.is_tiled:
            from .ops import copy
            return copy(self).unpacked()
        return self.unpacked()

    # ---- views
    def _view(self, roi):
        h = self.header
        v = _new_header(1, 0, C["VSK_8U"], "", "", 0, 0, 4, 0, 0)
        ffi.memmove(v, h, ffi.sizeof("VskImage"))
        v.roi = ffi.NULL
        v.maskImage = ffi.NULL
        v.dataBlock = ffi.NULL  # only the owner releases a library-made buffer
        img = Image(v, mem=self._mem, off=self._off, store=self._store,
                    tileinfo=self._tileinfo, handle=self._handle)
        img._owner = self
        if roi is not None:
            img.roi = roi
        return img

    @property
    def whole(self):
        """A view of the whole image, without region of interest."""
        return self._view(None)

    def __getitem__(self, key):
        if not isinstance(key, tuple):
            key = (key,)
        if len(key) > 2 or not all(isinstance(k, slice) for k in key):
            raise TypeError("index an image with [y0:y1, x0:x1]")
        key = key + (slice(None),) * (2 - len(key))
        x, y, w, h = self._region()
        (r0, r1, rs), (c0, c1, cs) = key[0].indices(h), key[1].indices(w)
        if rs != 1 or cs != 1:
            raise ValueError("image views take no step")
        return self._view(Roi(self.coi, x + c0, y + r0, max(r1 - r0, 0), max(c1 - c0, 0)))

    def copy(self):
        """A buffered copy of the region of interest (vsk.copy)."""
        from .ops import copy
        return copy(self)

    def __repr__(self):
        if self._h is None:
            return "<vsk.Image released>"
        extra = ""
        if self.roi is not None:
            extra += " roi=%s" % (self.roi,)
        if self.coi:
            extra += " coi=%d" % self.coi
        if self.is_tiled:
            extra += " tiled=%dx%d" % self.tile_size
        return "<vsk.Image %dx%d %s x%d %s %r%s>" % (self.width, self.height, self.depth,
                                                     self.channels, self.order,
                                                     self.channel_seq, extra)
