"""Names three things to try after the demo: the command, a program of the gallery, a page of the documentation.

The commands are complete: they work in the folder of the project as they are printed.
"""

import argparse
import sys
from pathlib import Path


def steps(build: Path, pictures: Path) -> list[tuple[str, str]]:
    """What each is for, and its command. `build` is the build tree, `pictures` a folder with pictures."""
    return [
        ("the command, for many pictures at a time",
         f"{build}/python/bin/zelmor thumbnail {pictures} -o {build}/small/ --size 320 --overwrite"),
        ("a picture in Python",
         f'PYTHONPATH={build}/python python3 -c "import zelmor; '
         f"picture = zelmor.open('{build}/demo/contact_sheet.png'); picture.grayscale(); "
         f"picture.save('{build}/gray.png')\""),
        ("what the library says of a member", f"{build}/python/bin/zelmor doc Image.load"),
    ]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path, help="build tree")
    parser.add_argument("pictures", type=Path, help="folder with pictures")
    arguments = parser.parse_args()
    print("\nnext:")
    for purpose, command in steps(arguments.build, arguments.pictures):
        print(f"  {purpose}\n      {command}")
    print("  and `make docs` for the gallery, the cookbook and the reference in a browser")
    return 0


if __name__ == "__main__":
    sys.exit(main())
