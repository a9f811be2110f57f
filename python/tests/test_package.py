"""The binding itself: declarations, version, library loading, installation."""

import os
import re
import subprocess
import sys

import pytest

import vsk
from vsk import _cdef, _headers
from conftest import ROOT

HEADERS = [os.path.join(ROOT, "include", h) for h in ("vsk.h", "vsk_internal.h")]
PACKAGE = os.path.join(ROOT, "python")


@pytest.mark.skipif(not os.path.exists(HEADERS[0]), reason="needs the source tree's headers")
def test_declarations_match_the_headers():
    with open(_cdef.__file__, encoding="utf-8") as f:
        committed = f.read()
    assert _headers.generate(HEADERS) == committed, \
        "run: python3 python/vsk/_headers.py include/vsk.h include/vsk_internal.h " \
        "> python/vsk/_cdef.py"


def test_every_function_is_resolved_at_import():
    names = set(re.findall(r"\b((?:tvsk|vsk)\w+)\(", _cdef.CDEF))
    assert len([n for n in names if n.startswith("tvsk")]) == 22
    # Resolved before any use: a lookup later could deadlock with a collected header.
    r = _python("import vsk; print(sorted(set(%r) - set(vars(vsk.lib))))" % sorted(names))
    assert r.stdout.strip() == "[]", r.stderr


def test_version_is_the_library_project_version():
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as f:
        project = re.search(r"project\(vsk VERSION (\S+)", f.read()).group(1)
    assert vsk.__version__ == project


def _python(code, **env):
    full = dict(os.environ, PYTHONPATH=PACKAGE, PYTHONDONTWRITEBYTECODE="1", **env)
    return subprocess.run([sys.executable, "-c", code], env=full, capture_output=True, text=True)


def test_a_missing_library_is_one_error_naming_the_three_places():
    r = _python("import vsk", VSK_LIBRARY="/nonexistent/libvsk.so")
    assert r.returncode != 0
    message = r.stderr[r.stderr.index("LibraryNotFoundError"):]
    assert "$VSK_LIBRARY=/nonexistent/libvsk.so" in message
    assert "2. beside the package: " + os.path.join(PACKAGE, "vsk", "libvsk.so") in message
    assert "3. the system's library search path" in message


def test_the_package_installs_offline_into_a_venv(tmp_path):
    if not os.path.isfile(vsk.library_path):
        pytest.skip("the library was loaded by name, there is no file to bundle")
    env_dir = tmp_path / "env"
    made = subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", str(env_dir)],
                          capture_output=True, text=True)
    if made.returncode != 0:
        pytest.skip("python3 -m venv is not available: " + made.stderr.strip()[-200:])
    py = str(env_dir / "bin" / "python")
    env = dict(os.environ, PIP_NO_INDEX="1", PIP_DISABLE_PIP_VERSION_CHECK="1",
               PYTHONDONTWRITEBYTECODE="1", VSK_LIBRARY=os.path.abspath(vsk.library_path))
    env.pop("PYTHONPATH", None)
    r = subprocess.run([py, "-m", "pip", "install", PACKAGE], env=env, capture_output=True,
                       text=True, cwd=str(tmp_path))
    assert r.returncode == 0, r.stdout + r.stderr
    del env["VSK_LIBRARY"]  # now the copy installed beside the package
    r = subprocess.run([py, "-c", "import vsk, numpy as np; print(vsk.library_path); "
                        "print(vsk.add_s(vsk.Image.from_array(np.full((2, 3), 250, np.uint8)), 9)"
                        ".to_array().tolist())"], env=env, capture_output=True, text=True,
                       cwd=str(tmp_path))
    assert r.returncode == 0, r.stderr
    path, values = r.stdout.splitlines()
    assert path.startswith(str(env_dir)) and path.endswith("libvsk.so")
    assert values == str([[255] * 3] * 2)
