"""Runs the package's tests for ctest and, when they fail, says how.

ctest shows a failed test's output; this makes sure there is some even when
pytest itself stops early, and keeps plugins or options from the environment
out of the run.
"""

import os
import sys
import traceback


def main(args):
    try:
        import pytest
        rc = int(pytest.main(args))
    except BaseException:  # noqa: B902 -- report anything, then fail
        traceback.print_exc()
        rc = 3
    if rc != 0:
        print("pytest exited with %d (python %s at %s, VSK_LIBRARY=%s, cwd %s)"
              % (rc, sys.version.split()[0], sys.executable, os.environ.get("VSK_LIBRARY"),
                 os.getcwd()), flush=True)
    return rc


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
