"""`python -m zelmor` is the command `zelmor`."""

import sys

from zelmor.command import main

if __name__ == "__main__":
    sys.exit(main())
