#!/usr/bin/python3
"""links.py ROOT: every link and image of the Markdown files below ROOT must lead to a file of the
project, and to a heading where it names one; so must every path that a text mentions."""
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent.parent / 'scripts'))
import pages  # noqa: E402

OTHER_KINDS = re.compile(r'\]\s?\[|^\[[^\]]+\]:|<(?:a|img)\s', re.MULTILINE)
PATH = re.compile(r'`((?:cmake|docs|drivers|examples|include|packaging|scripts|tests|tools)/[\w./-]*)`')
PLACEHOLDER = re.compile(r'/[A-Z]+/')  # drivers/NAME/


def fault_of(root, file, target):
    """What is wrong with a link of `file`; None when nothing is."""
    path, _, heading = target.partition('#')
    place = (root / file).parent / path if path else root / file
    place = place.resolve()
    if root not in place.parents:
        return 'leaves the project'
    if not place.exists():
        return 'no such file'
    if '#' not in target:
        return None
    if place.suffix != '.md':
        return 'names a heading of a file that has none'
    names = [name for _, name in pages.headings(place.read_text())]
    return None if heading in names else 'no such heading'


def faults_of(root):
    for file in pages.page_files(root):
        text = (root / file).read_text()
        plain = pages.without_code(text)
        found = [(place, target, fault_of(root, file, target))
                 for place, _, target in pages.links(text) if not re.match(r'[a-z]+:', target)]
        found += [(other.start(), other[0], 'not a link that this test knows')
                  for other in OTHER_KINDS.finditer(plain)]
        found += [(path.start(), path[1], 'no such file') for path in PATH.finditer(text)
                  if not (root / path[1]).exists() and not PLACEHOLDER.search(path[1])]
        for place, target, fault in found:
            if fault:
                line = text.count('\n', 0, place) + 1
                yield f'{file}:{line}: {target}: {fault}'


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    count = sum(len(list(pages.links((root / file).read_text()))) for file in pages.page_files(root))
    faults = list(faults_of(root))
    print(*faults, f'{len(faults)} bad links of {count}', sep='\n')
    sys.exit(1 if faults or count == 0 else 0)


if __name__ == '__main__':
    main()
