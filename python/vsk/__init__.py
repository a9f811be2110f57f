"""vsk: the vsk image-processing library over numpy arrays.

    import numpy as np, vsk
    img = vsk.Image.from_array(np.zeros((480, 640, 3), np.uint8))   # "RGB", pixel order
    brighter = vsk.add_s(img[10:110, 20:220], 40)                  # saturating add of a region
    big = vsk.zoom(img, x=(5, 2), y=(5, 2), interpolation="cubic")
    print(np.asarray(big).shape)                                    # (1200, 1600, 3)

The shared library is found through $VSK_LIBRARY (a path), else a copy
installed beside this package, else the system's library search path.
Failed checks raise VskError with the library's own report.
"""

from ._lib import (LIBRARY_VERSION, LibraryNotFoundError, Report, VskError, ffi, lib,
                   library_path)
from ._lib import C as constants
from .image import DEPTHS, Image, Roi, TileStore, depth_code
from .ops import *  # noqa: F401,F403 -- one function per operation
from .ops import __all__ as _ops

__version__ = LIBRARY_VERSION

globals().update(constants)  # VSK_8U, VSK_STATUS_BAD_ARG, VSK_FREE_HEADER, ...

__all__ = ["Image", "Roi", "TileStore", "VskError", "Report", "LibraryNotFoundError",
           "DEPTHS", "depth_code", "ffi", "lib", "library_path", "constants"] + list(_ops) \
    + list(constants)
