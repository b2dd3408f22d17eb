#!/usr/bin/python3
"""pages.py            prints the Markdown files of the project, one a line: the pages of the reference.
pages.py FILE       prints FILE, one of them or a header, as Doxygen is to read it (scripts/docs.sh):
                    headings have the names by which links find them, links lead to pages instead of
                    files, and so do the documents that comments of a header name. Lines keep their
                    numbers, so that a warning names the place in FILE.
"""
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ('abi', 'bench', 'docs', 'drivers', 'examples', 'tests')

CODE = re.compile(r'^(```+).*?^\1 *$|(`+)(?!`).*?(?<!`)\2(?!`)|<!--.*?-->', re.DOTALL | re.MULTILINE)
LINK = re.compile(r'(!?)\[([^\]]*)\]\(([^()\s]+)\)')
DOCUMENT = re.compile(r'\b(?:docs|drivers)/[\w/]+\.md\b')
HEADING = re.compile(r'^(#{1,6}) +(.*?) *$', re.MULTILINE)


def page_files(root=ROOT):
    """The Markdown files below root, as paths relative to it: README.md, those that it links to in this
    order, and the others."""
    files = list(root.glob('*.md'))
    for folder in FOLDERS:
        files += (root / folder).rglob('*.md')
    first = root / 'README.md'
    order = [first] + [root / target for _, _, target in links(first.read_text())]
    places = {file: place for place, file in reversed(list(enumerate(order)))}
    return [file.relative_to(root)
            for file in sorted(files, key=lambda file: (places.get(file, len(order)), file))]


def without_code(text):
    """The text with its code and comments blanked out, in the same places."""
    return CODE.sub(lambda code: re.sub(r'[^\n]', ' ', code[0]), text)


def links(text):
    """(position, is an image, target) of every link."""
    for link in LINK.finditer(without_code(text)):
        yield link.start(), bool(link[1]), link[3]


def headings(text):
    """(match, name) of every heading: the name is the part of a link after '#'."""
    seen = {}
    plain = without_code(text)
    for heading in HEADING.finditer(text):
        if plain[heading.start()] != '#':
            continue
        name = re.sub(r'[^\w\- ]', '', heading[2].lower()).replace(' ', '-')
        number = seen.get(name, 0)
        seen[name] = number + 1
        yield heading, f'{name}-{number}' if number else name


def page_name(file):
    """The name of the page of a Markdown file: docs_client for docs/client.md."""
    if str(file) == 'README.md':
        return 'mainpage'
    return str(file.with_suffix('')).replace('/', '_').lower()


def labels(file, text):
    """The name that each heading of a page has for Doxygen, by its name in links."""
    page = page_name(file)
    names = [name for _, name in headings(text)]
    return {name: page if number == 0 else f'{page}-{name}' for number, name in enumerate(names)}


def reference(file, target):
    """What Doxygen finds for a link of `file`, None for a file that has no page."""
    path, _, name = target.partition('#')
    place = ROOT / file
    if path:
        place = (place.parent / path).resolve()
    if place.suffix == '.h' and ROOT / 'include' in place.parents:
        return str(place.relative_to(ROOT / 'include'))
    if place.exists() and place.suffix != '.md':
        return place.name if place.is_file() and ROOT / 'examples' in place.parents else None
    page = pathlib.Path(os.path.relpath(place, ROOT))
    known = labels(page, place.read_text()) if place.exists() else {}
    # What is missing is left to Doxygen, which reports it.
    return known.get(name, f'{page_name(page)}-{name}') if name else page_name(page)


def rewritten(file, text):
    """The text of a page for Doxygen."""
    changes = []
    known = labels(file, text)
    for heading, name in headings(text):
        changes.append((heading.start(), heading.end(), f'{heading[0].rstrip()} {{#{known[name]}}}'))
    for link in LINK.finditer(without_code(text)):
        if re.match(r'[a-z]+:', link[3]) or link[1] and (ROOT / file).parent.joinpath(link[3]).exists():
            continue
        words = text[link.start(2):link.end(2)]
        found = reference(file, link[3])
        plain = words.replace('`', '')  # Doxygen shows the text of a reference as it is
        changes.append((link.start(), link.end(), f'[{plain}](@ref {found})' if found else words))
    for code in CODE.finditer(text):
        if code[2] == '`' and "'" in code[0]:  # where Doxygen would end it
            changes.append((code.start(), code.end(), f'`{code[0]}`'))
    for start, end, replacement in sorted(changes, reverse=True):
        text = text[:start] + replacement + text[end:]
    return text


def programs(file, text):
    """For Doxygen, the programs that a page in examples/ links to."""
    if file.parts[0] != 'examples':
        return ''
    targets = [target for _, _, target in links(text)]
    names = [name for target in targets if (name := pathlib.Path(target).name) == reference(file, target)]
    return ''.join(f'\n@example {name}\nOne of the [examples](@ref {page_name(file)}).\n' for name in names)


def main():
    if len(sys.argv) == 1:
        print('\n'.join(map(str, page_files())))
        return
    file = pathlib.Path(sys.argv[1]).resolve().relative_to(ROOT)
    text = (ROOT / file).read_text()
    if file.suffix == '.md':
        text = rewritten(file, text) + programs(file, text)
    else:
        text = DOCUMENT.sub(lambda name: f'[{name[0]}](@ref {page_name(pathlib.Path(name[0]))})', text)
    sys.stdout.write(text)


if __name__ == '__main__':
    main()
