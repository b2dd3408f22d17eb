#!/usr/bin/python3
"""examples_test.py BIN OWN_NETWORK    runs every example of the help on virtual cameras, in the order of the
commands: what one of them writes, a later one reads. OWN_NETWORK is the script that runs a program in a
network of its own."""
import json
import os
import pathlib
import re
import shlex
import signal
import struct
import subprocess
import sys
import tempfile
import zlib

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / 'scripts'))
import manual  # noqa: E402

PROGRAMS = pathlib.Path(sys.argv[1]).resolve()
OWN_NETWORK = pathlib.Path(sys.argv[2]).resolve()
CAMERA = 'usb:virtual-VIRT0001'


def prepare(folder):
    """The files that the examples read and none of them writes."""
    firmware = os.urandom(20000)
    header = struct.pack('<8s3H2xII8x', b'NUBRIXFW', 1, 4, 2, len(firmware), zlib.crc32(firmware))
    (folder / 'camera.fw').write_bytes(header + firmware)
    for name in ('frame.yuyv', 'depth.raw'):
        (folder / name).write_bytes(os.urandom(640 * 480 * 2))
    (folder / 'two.json').write_text('{"cameras": 2}')
    (folder / 'slow.json').write_text('{"frame_rate": 5}')
    application = folder / 'my-application'
    application.write_text('#!/bin/sh\nexec nubrix list\n')
    application.chmod(0o755)


def examples():
    nubrix = json.loads(manual.output_of(PROGRAMS / 'nubrix', '--describe'))
    texts = [nubrix['footer'],
             *(each['footer'] for each in nubrix['commands'] if each['name'] != 'simulate'),
             json.loads(manual.output_of(PROGRAMS / 'nubrix-simulate', '--describe'))['footer'],
             manual.output_of(PROGRAMS / 'nubrix-virtual', '--help')]
    for text in texts:
        found = manual.split(text)[1].get('Examples', [])
        assert len(found) >= 2, text
        yield from (command for command, _ in found)


def run(command, folder, environment):
    """Runs an example, for a second where it states a time, and returns what is wrong."""
    line = re.sub(r'--seconds \d+', '--seconds 1', command).replace('usb:1-2', CAMERA)
    words = shlex.split(line)
    if words[0] == 'nubrix' and '--virtual' not in words:
        words.insert(0, 'nubrix-virtual')
    done = subprocess.run(words, cwd=folder, env=environment, capture_output=True, text=True, timeout=200)
    # A busy machine loses frames, and every machine may have a problem.
    excused = 'are missing' in done.stderr or 'doctor' in words
    if done.returncode != 0 and not (done.returncode == 1 and excused):
        return f'status {done.returncode}: {done.stderr}'
    written = re.search(r'--(?:out|save) (\S+)', line)
    if written and not (folder / written[1]).exists():
        return f'{written[1]} was not written'
    return '' if done.stdout else 'it printed nothing'


def simulate(command, folder, environment):
    """Runs an example until the camera serves, then ends it like Ctrl-C."""
    with subprocess.Popen([OWN_NETWORK, *shlex.split(command)], cwd=folder, env=environment,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as camera:
        line = camera.stdout.readline()
        camera.send_signal(signal.SIGINT)
        _, errors = camera.communicate(timeout=100)
    if 'Ctrl-C ends it' in line and camera.returncode == 0:
        return ''
    return f'status {camera.returncode}: {line}{errors}'


def main():
    failed = False
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        prepare(folder)
        environment = dict(os.environ, PATH=f'{PROGRAMS}:{os.environ["PATH"]}',
                           NUBRIX_VIRTUAL_SCENARIO=str(folder / 'slow.json'))
        for command in examples():
            wrong = (simulate if ' simulate' in command else run)(command, folder, environment)
            print(f'{"FAILED" if wrong else "ok":8}{command}{"  " if wrong else ""}{wrong}', flush=True)
            failed = failed or bool(wrong)
    sys.exit(failed)


main()
