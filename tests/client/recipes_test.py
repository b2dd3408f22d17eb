#!/usr/bin/env python3
"""recipes_test.py DOCUMENT SOURCE    fails unless each C++ block of DOCUMENT stands in SOURCE, word
for word, within a function."""
import pathlib
import re
import sys
import textwrap


def main(document, source):
    blocks = re.findall(r"^```cpp\n(.*?)^```$", document.read_text(), re.S | re.M)
    recipes = source.read_text()
    missing = [each for each in blocks if textwrap.indent(each, "    ") not in recipes]
    for each in missing:
        print(f"{source.name} lacks this recipe of {document.name}:\n{each}")
    if len(blocks) < 10:
        print(f"{document.name} has {len(blocks)} recipes only")
    return 1 if missing or len(blocks) < 10 else 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])))
