#!/usr/bin/env python3
"""recipes_test.py DOCUMENT SOURCE...    fails unless each C++ block of DOCUMENT stands in a SOURCE, word
for word, within a function, and each SOURCE has one."""
import pathlib
import re
import sys
import textwrap


def main(document, sources):
    blocks = re.findall(r"^```cpp\n(.*?)^```$", document.read_text(), re.S | re.M)
    recipes = [textwrap.indent(each, "    ") for each in blocks]
    texts = {source.name: source.read_text() for source in sources}
    missing = [each for each in recipes if not any(each in text for text in texts.values())]
    for each in missing:
        print(f"no source has this recipe of {document.name}:\n{each}")
    idle = [name for name, text in texts.items() if not any(each in text for each in recipes)]
    for name in idle:
        print(f"{name} has no recipe of {document.name}")
    if len(blocks) < 10:
        print(f"{document.name} has {len(blocks)} recipes only")
    return 1 if missing or idle or len(blocks) < 10 else 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(main(pathlib.Path(sys.argv[1]), [pathlib.Path(each) for each in sys.argv[2:]]))
