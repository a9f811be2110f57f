"""Tiled images backed by the Python tile store."""

import numpy as np
import pytest

import vsk
from conftest import random_image


@pytest.mark.parametrize("depth, channels, order, tile", [
    ("8u", 3, "pixel", (16, 8)), ("16s", 2, "plane", (8, 16)), ("32s", 1, "pixel", (24, 8)),
    ("1u", 1, "pixel", (16, 8))])
def test_tiles_round_trip_and_hold_the_layout(rng, depth, channels, order, tile):
    src, a = random_image(rng, depth, channels, order, rows=21, cols=37)
    t = vsk.Image.tiled(37, 21, tile, depth, channels, order=order)
    vsk.copy(src, out=t)
    tw, th = tile
    assert sorted(t.tiles.tiles) == [(c, r) for c in range(-(-37 // tw))
                                     for r in range(-(-21 // th))]
    if depth != "1u":  # a tile is laid out like an image of the tile's size
        want = a[:, :th, :tw] if order == "plane" else a[:th, :tw]
        np.testing.assert_array_equal(t.tiles.tile(0, 0), want)
    np.testing.assert_array_equal(t.to_array(), a)
    assert not t.tiles.held  # every tile was given back


def test_a_region_walks_its_tiles_row_by_row():
    t = vsk.Image.tiled(32, 32, (8, 8), "8u", 1)
    vsk.copy(vsk.Image.new(10, 10, fill=9), out=t[5:15, 5:15])
    assert t.tiles.log == [(0, 0, 2), (0, 0, 4), (1, 0, 2), (1, 0, 4),
                           (0, 1, 2), (0, 1, 4), (1, 1, 2), (1, 1, 4)]
    whole = t.to_array()
    assert (whole[5:15, 5:15] == 9).all() and whole.sum() == 9 * 100


@pytest.mark.parametrize("call", [
    lambda img, out: vsk.add_s(img, 77, out=out),
    lambda img, out: vsk.and_s(img, 0x3C, out=out),
    lambda img, out: vsk.mirror(img, -1, out=out),
    lambda img, out: vsk.blur(img, 3, 5, out=out),
    lambda img, out: vsk.zoom(img[:10, :15], x=(2, 1), y=(2, 1), out=out),
    lambda img, out: vsk.alpha_composite_c(img, img, 100, 200, op="xor", out=out),
])
def test_operations_on_tiled_images_match_buffered_ones(rng, call):
    src, a = random_image(rng, "8u", 3, rows=20, cols=30)
    tiled_src = vsk.Image.tiled(30, 20, (8, 8), "8u", 3)
    vsk.copy(src, out=tiled_src)
    expected = call(src, vsk.Image.new(30, 20, "8u", 3)).to_array()
    out = vsk.Image.tiled(30, 20, (16, 8), "8u", 3)
    call(tiled_src, out)
    np.testing.assert_array_equal(out.to_array(), expected)


def test_tile_stores_can_be_scripted():
    class Constant(vsk.TileStore):
        """Serves one shared tile of 5s for reading and counts the tiles it is asked for."""

        def get(self, column, row, mode):
            self.asked = getattr(self, "asked", 0) + 1
            t = np.full(self.tile_bytes, 5, np.uint8)
            return t if mode == vsk.VSK_TILE_READ else super().get(column, row, mode)

    t = vsk.Image.tiled(20, 20, (8, 8), "8u", 1, store=Constant())
    assert (vsk.copy(t).to_array() == 5).all() and t.tiles.asked == 9
    t.tiles.refuse = lambda column, row, mode: row == 2
    with pytest.raises(vsk.VskError, match="Error get tile to write") as caught:
        vsk.set(t, 1)
    assert caught.value.status == -2
    assert [entry for entry in t.tiles.log if entry[2] == 2][-1] == (0, 2, 2)
    vsk.set(t, 1, dstTile=(0, 0))  # restricted to one destination tile
    assert t.tiles.log[-2:] == [(0, 0, 2), (0, 0, 4)]
