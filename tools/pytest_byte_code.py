"""A plugin of pytest that keeps the byte code of tests, with their assertions rewritten, in the build tree.

    ZELMOR_BUILD_DIR=build python -m pytest -p tools.pytest_byte_code TESTS

To rewrite all tests takes ten seconds, in each worker of each run. Byte code beside the sources is not wanted, and
programs that tests start write none: only this process does, and only below the build tree.
"""

import os
import sys

if "ZELMOR_BUILD_DIR" in os.environ:
    sys.pycache_prefix = os.path.join(os.environ["ZELMOR_BUILD_DIR"], "byte-code")
    sys.dont_write_bytecode = False
