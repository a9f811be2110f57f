"""A minimal build backend (PEP 517, PEP 660) for the vsk package.

It needs nothing but the standard library, so pip builds the package
offline. The wheel holds the pure-Python package and, when one is found, a
copy of the shared library beside it: the file that $VSK_LIBRARY names at
build time, else the checkout's build/libvsk.so (the default preset's).
"""

import base64
import hashlib
import io
import os
import re
import sys
import sysconfig
import tarfile
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
NAME = "vsk"
SUMMARY = "Python bindings of the vsk image-processing library (cffi ABI mode, numpy)"
LIBRARY_NAME = {"win32": "vsk.dll", "darwin": "libvsk.dylib"}.get(sys.platform, "libvsk.so")


def _version():
    with open(os.path.join(HERE, NAME, "_lib.py"), encoding="utf-8") as f:
        return re.search(r'^LIBRARY_VERSION = "([^"]+)"', f.read(), re.M).group(1)


def _library():
    path = os.environ.get("VSK_LIBRARY") or os.path.join(HERE, os.pardir, "build",
                                                         LIBRARY_NAME)
    return os.path.realpath(path) if os.path.isfile(path) else None


def _package_files():
    for name in sorted(os.listdir(os.path.join(HERE, NAME))):
        if name.endswith(".py"):
            yield "%s/%s" % (NAME, name), os.path.join(HERE, NAME, name)


def _metadata():
    return ("Metadata-Version: 2.1\nName: %s\nVersion: %s\nSummary: %s\n"
            "Requires-Python: >=3.9\nRequires-Dist: cffi\nRequires-Dist: numpy\n"
            % (NAME, _version(), SUMMARY))


def _tag(library):
    if not library:
        return "py3-none-any", True
    return "py3-none-" + re.sub(r"[-.]", "_", sysconfig.get_platform()), False


def _write_wheel(directory, entries, tag, purelib):
    dist_info = "%s-%s.dist-info" % (NAME, _version())
    entries = list(entries) + [
        ("%s/METADATA" % dist_info, _metadata().encode()),
        ("%s/WHEEL" % dist_info,
         ("Wheel-Version: 1.0\nGenerator: vsk_build\nRoot-Is-Purelib: %s\nTag: %s\n"
          % ("true" if purelib else "false", tag)).encode()),
        ("%s/top_level.txt" % dist_info, b"vsk\n"),
    ]
    record = []
    name = "%s-%s-%s.whl" % (NAME, _version(), tag)
    with zipfile.ZipFile(os.path.join(directory, name), "w", zipfile.ZIP_DEFLATED) as whl:
        for arcname, data in entries:
            info = zipfile.ZipInfo(arcname, (2020, 1, 1, 0, 0, 0))
            info.external_attr = (0o755 if arcname.endswith(LIBRARY_NAME) else 0o644) << 16
            info.compress_type = zipfile.ZIP_DEFLATED
            whl.writestr(info, data)
            digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=")
            record.append("%s,sha256=%s,%d" % (arcname, digest.decode(), len(data)))
        record.append("%s/RECORD,," % dist_info)
        whl.writestr("%s/RECORD" % dist_info, "\n".join(record) + "\n")
    return name


def _read(path):
    with open(path, "rb") as f:
        return f.read()


def get_requires_for_build_wheel(config_settings=None):
    return []


def get_requires_for_build_editable(config_settings=None):
    return []


def get_requires_for_build_sdist(config_settings=None):
    return []


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    library = _library()
    entries = [(arc, _read(path)) for arc, path in _package_files()]
    if library:
        entries.append(("%s/%s" % (NAME, LIBRARY_NAME), _read(library)))
        sys.stderr.write("vsk_build: bundling %s\n" % library)
    else:
        sys.stderr.write("vsk_build: no library bundled; vsk will use $VSK_LIBRARY or the "
                         "system's library search path\n")
    return _write_wheel(wheel_directory, entries, *_tag(library))


def build_editable(wheel_directory, config_settings=None, metadata_directory=None):
    # The checkout's python/ directory goes on sys.path; the library comes from
    # $VSK_LIBRARY or the system's search path.
    return _write_wheel(wheel_directory, [("vsk-editable.pth", (HERE + "\n").encode())],
                        "py3-none-any", True)


def build_sdist(sdist_directory, config_settings=None):
    base = "%s-%s" % (NAME, _version())
    name = base + ".tar.gz"
    with tarfile.open(os.path.join(sdist_directory, name), "w:gz") as tar:
        for rel in ["pyproject.toml", "vsk_build.py", "README.md"] + \
                [arc for arc, _ in _package_files()]:
            tar.add(os.path.join(HERE, rel), "%s/%s" % (base, rel))
        pkg_info = _metadata().encode()
        info = tarfile.TarInfo("%s/PKG-INFO" % base)
        info.size = len(pkg_info)
        tar.addfile(info, io.BytesIO(pkg_info))
    return name
