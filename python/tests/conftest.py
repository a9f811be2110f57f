import os
import sys

import numpy as np
import pytest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir))

import vsk  # noqa: E402

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), os.pardir, os.pardir))
DTYPES = {"8u": np.uint8, "8s": np.int8, "16u": np.uint16, "16s": np.int16, "32s": np.int32}


@pytest.fixture
def rng(request):
    return np.random.default_rng(abs(hash(request.node.name)) % 2**32)


def random_array(rng, depth, shape):
    """Random samples over the whole range of a depth (bool for 1u)."""
    if depth == "1u":
        return rng.random(shape) < 0.5
    info = np.iinfo(DTYPES[depth])
    return rng.integers(info.min, info.max, shape, dtype=DTYPES[depth], endpoint=True)


def random_image(rng, depth="8u", channels=3, order="pixel", rows=7, cols=13, **kw):
    shape = (rows, cols) if channels == 1 else \
        (channels, rows, cols) if order == "plane" else (rows, cols, channels)
    a = random_array(rng, depth, shape)
    return vsk.Image.from_array(a, order=order, **kw), a

