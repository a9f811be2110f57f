"""Loads the shared library and turns its error reports into exceptions."""

import ctypes.util
import os
import re
import sys
import threading
from collections import namedtuple

import cffi

from . import _cdef

ffi = cffi.FFI()
ffi.cdef(_cdef.CDEF)
C = _cdef.CONSTANTS

# The SONAME carries major.minor while the major version is 0.
LIBRARY_VERSION = "0.1.0"
_SONAME = "libvsk.so.0.1"

if sys.platform == "win32":
    _LOCAL_NAMES = ("vsk.dll",)
    _SYSTEM_NAMES = ("vsk.dll",)
elif sys.platform == "darwin":
    _LOCAL_NAMES = ("libvsk.dylib",)
    _SYSTEM_NAMES = ("libvsk.dylib",)
else:
    _LOCAL_NAMES = ("libvsk.so", _SONAME)
    _SYSTEM_NAMES = ("libvsk.so", _SONAME)


class LibraryNotFoundError(ImportError):
    """The shared library could not be loaded from any of the three places."""


def _load():
    here = os.path.dirname(os.path.abspath(__file__))
    env = os.environ.get("VSK_LIBRARY")
    if env:
        try:
            return ffi.dlopen(env), env
        except OSError as e:
            first = "1. $VSK_LIBRARY=%s: %s" % (env, e)
    else:
        first = "1. $VSK_LIBRARY: not set"
        for name in _LOCAL_NAMES:
            path = os.path.join(here, name)
            if os.path.exists(path):
                return ffi.dlopen(path), path
        for name in _SYSTEM_NAMES + (None,):
            name = name or ctypes.util.find_library("vsk")  # last: ask the platform's tools
            if name:
                try:
                    return ffi.dlopen(name), name
                except OSError:
                    pass
    raise LibraryNotFoundError(
        "cannot load the vsk shared library; looked in\n"
        "  %s\n"
        "  2. beside the package: %s\n"
        "  3. the system's library search path: %s\n"
        "Build it (cmake --preset default && cmake --build --preset default --target vsk) and\n"
        "set VSK_LIBRARY=/path/to/build/libvsk.so, reinstall the package from a checkout whose\n"
        "build/ holds the library, or install it (cmake --install build, then ldconfig)."
        % (first, " or ".join(os.path.join(here, n) for n in _LOCAL_NAMES),
           ", ".join(_SYSTEM_NAMES) if env is None else "not searched while $VSK_LIBRARY is set"))


lib, library_path = _load()

# Resolve every function now. cffi looks names up on first use under a lock;
# a header released by the garbage collector in the middle of such a lookup
# would otherwise wait for that lock forever.
for _name in re.findall(r"\b(t?vsk\w+)\(", _cdef.CDEF):
    try:
        getattr(lib, _name)
    except AttributeError:  # a library without the internal functions (a Windows DLL)
        pass


class Report(namedtuple("Report", "status function condition file line")):
    """One report the library made: status, function name, condition text, file, line."""


class VskError(Exception):
    """A failed check of the library, with exactly the report it made.

    ``status`` (negative), ``function`` (the reported name, e.g. "vskCopy"),
    ``condition`` (the condition text, also as ``context``), ``file`` (the
    reporting module, e.g. "vskSCE") and ``line``. ``reports`` lists every
    report of the call when the library made more than one; the fields are
    those of the first.
    """

    def __init__(self, status, function=None, condition=None, file=None, line=None,
                 reports=()):
        self.status = status
        self.function = function
        self.condition = condition
        self.file = file
        self.line = line
        self.reports = list(reports)
        text = ffi.string(lib.vskErrorText(status)).decode("latin-1")
        if function is None:
            message = "status %d (%s)" % (status, text)
        else:
            message = "%s: %s [%s:%s] (status %d, %s)" % (
                function, (condition or "").rstrip(), file, line, status, text)
        super().__init__(message)

    @property
    def context(self):
        return self.condition


def _text(p):
    return None if p == ffi.NULL else ffi.string(p).decode("latin-1")


class _State(threading.local):
    def __init__(self):
        self.ready = False
        self.reports = []
        self.exception = None  # raised by a Python tile store during a call


_state = _State()


@ffi.callback("VskErrorCallback")
def _on_report(status, function, condition, file, line):
    # Copy the texts now: the library releases a built condition text on return.
    _state.reports.append(Report(status, _text(function), _text(condition), _text(file), line))
    return status


def _ready():
    # The handler and mode are set for each thread that calls in, so that they
    # hold whether the library keeps them per process or per thread.
    st = _state
    if not st.ready:
        lib.vskSetErrorHandler(_on_report)
        lib.vskSetErrMode(C["VSK_ErrorModeSilent"])
        st.ready = True
    return st


def call(function, *args):
    """Calls a library function with a clean status; raises VskError if it failed."""
    st = _ready()
    st.reports = []
    st.exception = None
    lib.vskSetErrStatus(0)
    result = function(*args)
    status = lib.tvskGetErrStatus()
    reports, st.reports = st.reports, []
    exception, st.exception = st.exception, None
    error = None
    if status < 0:
        lib.vskSetErrStatus(0)
        first = next((r for r in reports if r.status < 0), None)
        error = VskError(*first, reports=reports) if first else VskError(status)
    if exception is not None:  # a Python call-back failed: its exception, with the report
        if error is not None and hasattr(exception, "add_note"):
            exception.add_note("vsk: %s" % error)
        raise exception
    if error is not None:
        raise error
    return result


def note_exception(exc):
    """Keeps the first exception of a Python call-back until the C call returns."""
    if _state.exception is None:
        _state.exception = exc
