#!/usr/bin/python3
"""manual.py BIN [--check]    writes man/*.1 and completion/nubrix from what the programs in the folder BIN
say about themselves: `nubrix --describe`, `nubrix-simulate --describe` and `nubrix-virtual --help`. With
--check nothing is written; the differences from the files are printed, and the status is 1 if there are
any. The pages have no date, so that the same help gives the same bytes."""
import difflib
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TEMPLATE = ROOT / 'scripts' / 'completion.bash.in'


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=60).stdout


# --- the texts of the help

def entries_of(lines):
    """Terms, indented by two blanks, with their explanation on the same line or on deeper ones."""
    entries = []
    for line in lines:
        if re.match(r'  \S', line):
            term, _, text = line.strip().partition('  ')
            entries.append([term, text.strip()])
        else:
            entries[-1][1] = (entries[-1][1] + ' ' + line.strip()).strip()
    return entries


def split(text):
    """The paragraphs of a help text, and its titled sections: entries, or a paragraph of text."""
    paragraphs, sections = [], {}
    for block in re.split(r'\n\s*\n', text.strip('\n')):
        lines = block.split('\n')
        title = re.match(r'([A-Z][a-z]+(?: [a-z]+)?):(?: (.*)|)$', lines[0])
        if title and title[2] is None:
            sections[title[1]] = entries_of(lines[1:])
        elif title:
            sections[title[1]] = ' '.join([title[2], *lines[1:]])
        else:
            paragraphs.append(block)
    return paragraphs, sections


def page_of(program, command=None):
    """What a page shows, from the description of a program, and of a command of it."""
    described = command or program
    paragraphs, sections = split(described['footer'])
    return {'name': f'nubrix-{command["name"]}' if command else program['name'].replace(' ', '-'),
            'call': f'nubrix {command["name"]}' if command else program['name'],
            'is program': not command,
            'about': ' '.join(described['description'].split()),
            'arguments': [each for each in described['options'] if each['argument']],
            'options': [each for each in described['options'] if not each['argument']],
            'commands': described['commands'],
            'paragraphs': [' '.join(each.split()) for each in paragraphs],
            'sections': sections}


def page_of_script(text):
    """The same for a program that has no description, from its usage text."""
    usage, about, rest = text.split('\n', 2)
    paragraphs, sections = split(rest)
    options = [{'names': [term.split()[0]], 'value': term.partition(' ')[2], 'text': text}
               for term, text in entries_of(paragraphs[0].split('\n'))]
    return {'name': usage.split()[1], 'usage': usage.partition(' ')[2], 'about': about, 'is program': True,
            'arguments': [], 'options': options, 'commands': [],
            'paragraphs': [' '.join(each.split()) for each in paragraphs[1:]], 'sections': sections}


# --- manual pages

def escaped(text):
    text = text.replace('\\', '\\e').replace('-', '\\-')
    return '\\&' + text if text[:1] in ('.', "'") else text


def bold(text):
    return '\\fB' + escaped(text) + '\\fR'


def prose(text):
    """A paragraph, with the options and the quoted commands in it in bold."""
    parts = re.split(r"('nubrix[^']*'|(?<![\w-])--[a-z0-9-]+)", ' '.join(text.split()))
    marked = ''.join(bold(part.strip("'")) if i % 2 else escaped(part)
                     for i, part in enumerate(parts))
    return '\\&' + marked if marked[:1] in ('.', "'") else marked


def sentence(text):
    return text if text.endswith(('.', ';')) else text + '.'


def option_term(option):
    names = ', '.join(bold(name) for name in option['names'])
    value = option.get('value', '')
    return names + (f' \\fI{escaped(value)}\\fR' if value else '')


def option_text(option):
    text = sentence(prose(option['text']))
    if option.get('choices'):
        text += ' One of ' + ', '.join(map(bold, option['choices'])) + '.'
    if option.get('default'):
        text += f' The default is {escaped(option["default"])}.'
    for key, relation in (('needs', 'Only with'), ('excludes', 'Not with')):
        if option.get(key):
            text += f' {relation} ' + ', '.join(map(bold, option[key])) + '.'
    return text


def synopsis(page):
    if 'usage' in page:
        program, _, arguments = page['usage'].partition(' ')
        arguments = re.sub(r'[A-Z]{2,}', lambda word: f'\\fI{word[0]}\\fR', escaped(arguments))
        return [f'{bold(program)} {arguments}']
    if page['commands']:
        return [f'{bold("nubrix")} [\\fIOPTION\\fR]... \\fICOMMAND\\fR [\\fIARGUMENT\\fR]...', '.br',
                f'{bold("nubrix")} \\fICOMMAND\\fR {bold("--help")}']
    words = ['[\\fIOPTION\\fR]...']
    words += [option_term(each) for each in page['options'] if each['required']]
    for each in page['arguments']:
        name = f'\\fI{each["argument"]}\\fR'
        words.append(name if each['required'] else f'[{name}]')
    lines = [' '.join([bold(page['call']), *words])]
    if page['is program']:
        lines += ['.br', ' '.join([bold(page['name']), *words])]
    return lines


def list_of(entries):
    for term, text in entries:
        yield from ('.TP', term, text)


def statuses_of(text):
    """The entries of "0 done, 1 failed, 2 wrong use. More.", and the rest."""
    head, _, rest = text.partition('. ')
    parts = re.split(r'(?:^|[,;] )(\d) ', head.rstrip('.'))
    entries = [[number, meaning] for number, meaning in zip(parts[1::2], parts[2::2])]
    return ([], text) if parts[0] or not entries else (entries, rest)


def section(title, content):
    yield '.SH ' + title.upper()
    entries, text = statuses_of(content) if isinstance(content, str) else (content, '')
    yield from list_of((bold(term), sentence(prose(what[0].upper() + what[1:]))) for term, what in entries)
    if text:
        yield from (['.PP'] if entries else [])
        yield prose(text[0].upper() + text[1:])


def options_of(page):
    yield '.SH OPTIONS'
    yield from list_of((f'\\fI{each["argument"]}\\fR', option_text(each))
                       for each in page['arguments'])
    yield from list_of((option_term(each), option_text(each)) for each in page['options'])
    if not page['is program']:
        yield from ('.PP', 'The options of \\fBnubrix\\fR(1) may be given as well.')


def see_also(page, names):
    if page['commands']:
        return [name for name in names if name != page['name']]
    texts = ' '.join(page['paragraphs'] + [each['text'] for each in page['arguments'] + page['options']])
    mentioned = {word.replace(' ', '-') for word in re.findall(r"'(nubrix \w+)", texts)}
    return ['nubrix'] + sorted(mentioned & set(names) - {page['name']})


def page_text(page, release, names, exit_status):
    about = page['about'][0].lower() + page['about'][1:]
    lines = ['.\\" Written by scripts/manual.py from the help of the program.',
             f'.TH {page["name"].upper()} 1 "" "Nubrix {release}" "User Commands"',
             '.SH NAME', f'{escaped(page["name"])} \\- {escaped(about)}', '.SH SYNOPSIS']
    lines += synopsis(page) + ['.SH DESCRIPTION', sentence(prose(page['about']))]
    for paragraph in page['paragraphs']:
        lines += ['.PP', prose(paragraph)]
    lines += options_of(page)
    if page['commands']:
        lines += ['.SH COMMANDS']
        lines += list_of((f'\\fBnubrix\\-{each["name"]}\\fR(1)', sentence(prose(each['description'])))
                         for each in page['commands'])
    sections = dict(page['sections'])
    sections.setdefault('Exit status', exit_status)
    for title in ('Exit status', 'Environment', 'Files', 'Examples'):
        if title in sections:
            lines += section(title, sections.pop(title))
    if sections:
        raise SystemExit(f'manual.py: {page["name"]} has sections of no page: {", ".join(sections)}')
    others = ', '.join(f'{bold(name)}(1)' for name in see_also(page, names))
    return '\n'.join([*lines, '.SH SEE ALSO', others]) + '\n'


# --- completion

def kind_of(option):
    """What completes the value of an option: files, folders, streams, modes, or words."""
    if option['choices']:
        return ' '.join(option['choices'])
    value = option['argument'] or option['value']
    if value.startswith(('FILE', 'IN')):
        return 'files'
    return {'DIR': 'folders', 'LIST': 'streams', 'WxH@FPS': 'modes', 'URI': 'uris'}.get(value, 'none')


def completion(nubrix, simulate):
    """The template with its tables: the words of each command, and what each option takes."""
    words, values, arguments = [], [], []
    common = [each for each in nubrix['options'] if each['names'][-1] not in ('--help', '--version')]
    own = {each['name']: each['options'] + common for each in nubrix['commands']}
    own['simulate'] = simulate['options']
    for name, options in {'': nubrix['options'], **own}.items():
        by_name = {each['names'][-1]: each for each in options if not each['argument']}
        words.append(f"    '{name}') echo '{' '.join(by_name)}' ;;")
        values += [f"    '{name} {option}') echo '{kind_of(each)}' ;;"
                   for option, each in by_name.items() if each['value']]
        taken = [kind_of(each) for each in options if each['argument']]
        if taken:
            arguments.append(f"    '{name}') echo '{' '.join(taken)}' ;;")
    text = TEMPLATE.read_text()
    for name, lines in {'COMMANDS': [' '.join(own)], 'STREAMS': [' '.join(nubrix['streams'])],
                        'WORDS': words, 'VALUES': values, 'ARGUMENTS': arguments}.items():
        text = re.sub(rf'^ *@{name}@$|@{name}@', lambda _, lines=lines: '\n'.join(lines), text,
                      flags=re.MULTILINE)
    return text


# --- the files

def files_of(programs):
    nubrix = json.loads(output_of(programs / 'nubrix', '--describe'))
    simulate = json.loads(output_of(programs / 'nubrix-simulate', '--describe'))
    pages = [page_of(nubrix), *(page_of(nubrix, each) for each in nubrix['commands']
                                if each['name'] != 'simulate'),
             page_of(simulate), page_of_script(output_of(programs / 'nubrix-virtual', '--help'))]
    names = sorted(page['name'] for page in pages)
    exit_status = pages[0]['sections']['Exit status']
    release = nubrix['version'].partition('.')[0]
    files = {ROOT / 'man' / f'{page["name"]}.1': page_text(page, release, names, exit_status)
             for page in pages}
    files[ROOT / 'completion' / 'nubrix'] = completion(nubrix, simulate)
    return files


def differences(files):
    """Lines that differ between the texts and the files, and files that no program describes."""
    for path, text in files.items():
        before = path.read_text() if path.exists() else ''
        yield from difflib.unified_diff(before.splitlines(), text.splitlines(), str(path),
                                        'the help of the program', lineterm='')
    for path in sorted((ROOT / 'man').glob('*')):
        if path not in files:
            yield f'{path}: there is no such program or command'


def main():
    check = sys.argv[2:] == ['--check']
    if len(sys.argv) != 2 + check:
        raise SystemExit(__doc__)
    files = files_of(pathlib.Path(sys.argv[1]))
    if not check:
        for path, text in files.items():
            path.parent.mkdir(exist_ok=True)
            path.write_text(text)
        return
    found = list(differences(files))
    if found:
        raise SystemExit('\n'.join(found) + '\nmanual.py: run it without --check and commit the files')


if __name__ == '__main__':
    main()
