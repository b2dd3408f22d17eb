#!/usr/bin/python3
"""completion_test.py BIN    types at an interactive bash, and reads the line that completion makes of it."""
import os
import pathlib
import pty
import re
import select
import signal
import sys
import tempfile
import time
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
COMPLETION = pathlib.Path(__file__).resolve().parents[2] / 'completion' / 'nubrix'
DEADLINE = 100  # seconds; only a shell that hangs reaches it
TAB = '\t'
ALL = '\x1b*'  # inserts every completion
SHOW = '\x07'  # bound to a command that prints the line
CLEAR = '\x15'


class Shell:
    """An interactive bash in a folder, with the completion."""

    def __init__(self, folder):
        self.child, self.terminal = pty.fork()
        if self.child == 0:
            os.chdir(folder)
            environment = {'PATH': f'{PROGRAMS}:/usr/bin:/bin', 'HOME': str(folder), 'TERM': 'dumb',
                           'PS1': '', 'INPUTRC': '/dev/null', 'LC_ALL': 'C.UTF-8', 'COLUMNS': '1000',
                           'NUBRIX_COMPLETION_SECONDS': '90'}
            os.execve('/bin/bash', ['bash', '--norc', '--noprofile', '-i'], environment)
        for setting in ('enable-bracketed-paste off', 'completion-query-items 0', 'bell-style none',
                        'horizontal-scroll-mode on'):
            self.write(f"bind 'set {setting}'\n")
        self.write(f"source '{COMPLETION}'\n")
        self.write('bind -x \'"\\C-g": printf "\\n<<%s>>\\n" "$READLINE_LINE"\'; printf "<<%s>>\\n" ready\n')
        self.read()

    def close(self):
        os.kill(self.child, signal.SIGKILL)
        os.waitpid(self.child, 0)
        os.close(self.terminal)

    def write(self, text):
        os.write(self.terminal, text.encode())

    def read(self):
        """What stands between << and >> at the beginning of a line."""
        text = ''
        end = time.monotonic() + DEADLINE
        while not (found := re.search(r'(?:^|\n)<<(.*)>>\r?\n', text)):
            if not select.select([self.terminal], [], [], max(0, end - time.monotonic()))[0]:
                raise AssertionError(f'no answer of the shell: {text!r}')
            text += os.read(self.terminal, 65536).decode()
        return found[1]

    def complete(self, line, key=TAB):
        self.write(line + key + SHOW)
        result = self.read()
        self.write(CLEAR)
        return result


class CompletionTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.folder = pathlib.Path(cls.temporary.name)
        (cls.folder / 'my recording.bin').touch()
        (cls.folder / 'my images').mkdir()
        (cls.folder / 'two.json').write_text('{"cameras": 2}')
        for folder, program in {
                'foreign': 'printf \'{\\n    "uri": "usb:$(touch owned);x",\\n}\\n\'',
                'unresponsive': 'exec sleep 1000'}.items():
            (cls.folder / folder).mkdir()
            (cls.folder / folder / 'nubrix').write_text('#!/bin/sh\n' + program + '\n')
            (cls.folder / folder / 'nubrix').chmod(0o755)
        cls.shell = Shell(cls.folder)

    @classmethod
    def tearDownClass(cls):
        cls.shell.close()
        cls.temporary.cleanup()

    def expect(self, line, completed, key=TAB):
        self.assertEqual(self.shell.complete(line, key), completed)

    def test_commands(self):
        self.expect('nubrix str', 'nubrix stream ')
        commands = self.shell.complete('nubrix ', ALL).split()
        self.assertEqual(len(commands), 16)
        self.assertIn('doctor', commands)
        self.expect('nubrix --verbose che', 'nubrix --verbose checksum ')

    def test_options(self):
        self.expect('nubrix --vir', 'nubrix --virtual ')
        self.expect('nubrix stream --po', 'nubrix stream --poll ')
        self.expect('nubrix stream --virt', 'nubrix stream --virtual ')
        self.expect('nubrix simulate --ser', 'nubrix simulate --serial ')
        self.expect('nubrix photo --',
                    'nubrix photo --help --json --out --scenario --verbose --virtual ', ALL)

    def test_streams(self):
        self.expect('nubrix stream --streams de', 'nubrix stream --streams depth')
        self.expect('nubrix record --streams color,li', 'nubrix record --streams color,light-ir')
        self.expect('nubrix record --streams=color,de', 'nubrix record --streams=color,depth')

    def test_words(self):
        self.expect('nubrix convert --from gr', 'nubrix convert --from grey16 ')
        self.expect('nubrix export --color-format=n', 'nubrix export --color-format=nv21 ')

    def test_uris(self):
        self.expect('nubrix --virtual stream us', 'nubrix --virtual stream usb:virtual-VIRT0001 ')
        self.expect('nubrix --virtual stream usb:vir', 'nubrix --virtual stream usb:virtual-VIRT0001 ')
        self.expect('nubrix --virtual --scenario two.json modes ',
                    'nubrix --virtual --scenario two.json modes '
                    'usb:virtual-VIRT0001 usb:virtual-VIRT0002 ', ALL)

    def test_modes(self):
        self.expect('nubrix --virtual stream --mode 1280x800@6',
                    'nubrix --virtual stream --mode 1280x800@60 ')
        self.expect('nubrix --virtual stream usb:virtual-VIRT0001 --mode 640x48',
                    'nubrix --virtual stream usb:virtual-VIRT0001 --mode 640x480@')

    def test_files(self):
        self.expect('nubrix inspect my\\ r', 'nubrix inspect my\\ recording.bin ')
        self.expect('nubrix photo --out my\\ r', 'nubrix photo --out my\\ recording.bin ')
        self.expect('nubrix photo --out "my r', 'nubrix photo --out "my recording.bin" ')
        self.expect('nubrix photo --out=tw', 'nubrix photo --out=two.json ')
        self.expect('nubrix --virtual --scenario tw', 'nubrix --virtual --scenario two.json ')
        self.expect('nubrix upgrade usb:1-2 tw', 'nubrix upgrade usb:1-2 two.json ')

    def test_folders(self):
        self.expect('nubrix export x --out my', 'nubrix export x --out my\\ images/')

    def test_nothing_where_a_file_is_wrong(self):
        for line in ('nubrix list tw', 'nubrix stream --seconds tw', 'nubrix doctor my',
                     'nubrix inspect two.json tw', 'nubrix simulate --mode tw'):
            self.expect(line, line)

    def test_texts_of_cameras_are_not_run(self):
        self.expect('foreign/nubrix modes us', 'foreign/nubrix modes usb:\\$\\(touch\\ owned\\)\\;x ')
        self.assertFalse((self.folder / 'owned').exists())

    def test_an_unresponsive_program_does_not_block(self):
        self.shell.write('NUBRIX_COMPLETION_SECONDS=1\n')
        self.expect('unresponsive/nubrix modes us', 'unresponsive/nubrix modes us')
        self.shell.write('NUBRIX_COMPLETION_SECONDS=90\n')


unittest.main()
