#!/usr/bin/python3
"""pinned.py ROOT: every test that docs/oddities.md, docs/reliability.md and docs/compatibility.md name must
exist, and every row must name one or state why there is none."""
import pathlib
import re
import sys


def names_of(source):
    pattern = r'^TEST(?:_F|_P)?\(\s*\w+,\s*(\w+)\s*\)'
    return set(re.findall(pattern, source.read_text(), re.MULTILINE))


def rows_of(document):
    """The rows of the tables that have a column of tests."""
    has_tests = False
    for line in document.read_text().splitlines():
        cells = [cell.strip() for cell in re.split(r'(?<!\\)\|', line)[1:-1]]
        if not cells:
            has_tests = False
        elif cells[-1] == 'test':
            has_tests = True
        elif has_tests and not cells[-1].startswith('---'):
            yield line, cells[-1]


def faults_of(root):
    tests = {source.stem: names_of(source) for source in (root / 'tests').rglob('*Test.cpp')}
    for source in (root / 'tests').rglob('CMakeLists.txt'):  # those that are programs
        for file, name in re.findall(r'add_test\(NAME (\w+)\.(\w+)', source.read_text()):
            tests.setdefault(file, set()).add(name)
    rows = []
    for document in ('oddities.md', 'reliability.md', 'compatibility.md'):
        of_document = list(rows_of(root / 'docs' / document))
        if not of_document:
            yield f'no row of {document} names a test'
        rows += of_document
    for line, cell in rows:
        pins = re.findall(r'`(\w+)\.(\w+)`', cell)
        if not pins and not cell.startswith('none: '):
            yield f'no test: {line}'
        for file, name in pins:
            if name not in tests.get(file, ()):
                yield f'no such test: {file}.{name}'


faults = list(faults_of(pathlib.Path(sys.argv[1])))
print('\n'.join(faults))
sys.exit(1 if faults else 0)
