#!/usr/bin/python3
"""schema_test.py BIN    holds the reports of `nubrix ... --json` to the files of schema/. The schemas refuse
keys that they do not list: a new key fails here until it is documented."""
import copy
import json
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

import jsonschema

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
SCHEMAS = pathlib.Path(__file__).resolve().parents[2] / 'schema'
CAMERA = 'usb:virtual-VIRT0001'
SMALL = ['--mode', '320x240@60']


def schema_of(command):
    return json.loads((SCHEMAS / f'{command}.json').read_text())


def validator_of(command):
    path = SCHEMAS / f'{command}.json'
    resolver = jsonschema.RefResolver(path.as_uri(), schema_of(command))
    return jsonschema.Draft202012Validator(schema_of(command), resolver=resolver)


def objects_of(schema):
    """Every schema within a schema that is one of objects."""
    if isinstance(schema, dict):
        if schema.get('type') == 'object':
            yield schema
        for each in schema.values():
            yield from objects_of(each)
    elif isinstance(schema, list):
        for each in schema:
            yield from objects_of(each)


class SchemaTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.folder = pathlib.Path(cls.temporary.name)
        scenario = cls.folder / 'free.json'
        scenario.write_text('{"pacing": "free"}')
        cls.free = str(scenario)
        cls.recording = str(cls.folder / 'room.bin')
        # In real time, for few frames; whether a busy machine loses some does not matter.
        cls.run_tool('', 'record', '--out', cls.recording, *SMALL, '--frames', '3')

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    @classmethod
    def run_tool(cls, scenario, *words):
        environment = dict(os.environ, NUBRIX_VIRTUAL_SCENARIO=scenario)
        return subprocess.run([PROGRAMS / 'nubrix-virtual', PROGRAMS / 'nubrix', *words], env=environment,
                              cwd=cls.folder, capture_output=True, text=True, timeout=200)

    def report(self, *words, status=0, scenario=''):
        """The report of a command, which must follow its schema; with a further key it must not."""
        done = self.run_tool(scenario, *words, '--json')
        self.assertEqual(done.returncode, status, done.stderr)
        report = json.loads(done.stdout)
        validator = validator_of(words[0])
        errors = [f'{error.json_path}: {error.message}' for error in validator.iter_errors(report)]
        self.assertEqual(errors, [], done.stdout)
        for more in self.with_further_keys(report):
            self.assertFalse(validator.is_valid(more), more)
        return report

    @staticmethod
    def with_further_keys(report):
        """Copies of a report, each with a key more in one of its objects."""
        def places(value, path=()):
            if isinstance(value, dict):
                yield path
                for key, each in value.items():
                    yield from places(each, path + (key,))
            elif isinstance(value, list) and value:
                yield from places(value[0], path + (0,))

        for path in places(report):
            changed = copy.deepcopy(report)
            place = changed
            for step in path:
                place = place[step]
            place['further'] = 1
            yield changed

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return str(path)

    def test_schemas_are_valid_and_closed(self):
        for path in SCHEMAS.glob('*.json'):
            schema = json.loads(path.read_text())
            jsonschema.Draft202012Validator.check_schema(schema)
            for each in objects_of(schema):
                self.assertIn('additionalProperties', each, path)
                self.assertIsNot(each['additionalProperties'], True, path)

    def test_every_command_with_reports_has_a_schema(self):
        described = json.loads(subprocess.run([PROGRAMS / 'nubrix', '--describe'], check=True,
                                              capture_output=True, text=True, timeout=100).stdout)
        reporting = {each['name'] for each in described['commands']
                     if any('--json' in option['names'] for option in each['options'])}
        self.assertEqual({path.stem for path in SCHEMAS.glob('*.json')} - {'common'}, reporting)

    def test_list(self):
        self.assertEqual(len(self.report('list')['cameras']), 1)
        environment = dict(os.environ, LD_LIBRARY_PATH='')
        done = subprocess.run([PROGRAMS / 'nubrix', 'list', '--json'], env=environment, check=True,
                              capture_output=True, text=True, timeout=100)
        validator_of('list').validate(json.loads(done.stdout))

    def test_modes(self):
        self.assertEqual(len(self.report('modes')['streams']), 4)

    def test_props(self):
        self.assertEqual(self.report('props', '--flag-mode', '2')['stream_flag_mode'], 2)

    def test_stream(self):
        live = self.report('stream', *SMALL, '--frames', '3', '--save', 'images')
        self.assertIsInstance(live['streams'][0]['age_us'], dict)
        self.assertIn('saved', live['streams'][0])
        play = self.file('play.json', json.dumps(
            {'source': 'recording', 'recording': {'file': self.recording}}).encode())
        self.assertIsNone(self.report('stream', '--frames', '2', scenario=play)['streams'][0]['age_us'])

    def test_stream_that_fails(self):
        unplug = self.file(
            'unplug.json', b'{"pacing": "free", "faults": [{"type": "unplug", "at_frame": 5}]}')
        self.assertIn('error', self.report('stream', *SMALL, status=1, scenario=unplug))

    def test_record_and_inspect(self):
        recorded = self.report('record', '--out', 'again.bin', *SMALL, '--frames', '3', scenario=self.free)
        inspected = self.report('inspect', 'again.bin')
        self.assertEqual({key: recorded[key] for key in ('records', 'bytes')},
                         {key: inspected[key] for key in ('records', 'bytes')})
        self.assertIsNone(inspected['problem'])

    def test_record_that_fails(self):
        unplug = self.file('gone.json', b'{"faults": [{"type": "unplug", "at_ms": 1500}]}')
        report = self.report('record', '--out', 'cut.bin', *SMALL, status=1, scenario=unplug)
        self.assertIn('error', report)

    def test_damaged_recordings(self):
        content = pathlib.Path(self.recording).read_bytes()
        damaged = self.file('damaged.bin', content[:-1000])
        self.assertIsInstance(self.report('inspect', damaged)['problem'], str)
        self.assertGreater(self.report('repair', damaged, '--out', 'fixed.bin')['left_out_bytes'], 0)
        self.assertIn('error', self.report('export', damaged, '--out', 'some', status=1))

    def test_a_stream_without_a_name(self):
        tag = struct.pack('<HIIIIII', 7, 0, 1000, 0, 4, 2, 2)
        unnamed = self.file('unnamed.bin', tag + b'abcd')
        self.assertIn('type 7', self.report('inspect', unnamed)['streams'])

    def test_export(self):
        self.assertGreater(self.report('export', self.recording, '--out', 'all')['files'], 0)

    def test_photo_and_cloud(self):
        self.report('photo', '--out', 'photo.bmp')
        self.assertGreater(self.report('cloud', '--out', 'cloud.ply')['points'], 0)

    def test_upgrade(self):
        firmware = os.urandom(5000)
        header = struct.pack('<8s3H2xII8x', b'NUBRIXFW', 1, 4, 2, len(firmware), zlib.crc32(firmware))
        image = self.file('camera.fw', header + firmware)
        self.assertEqual(self.report('upgrade', CAMERA, image)['firmware_after'], '1.4.2')

    def test_checksum(self):
        for options in ([], ['--crc32'], ['--md5']):
            self.report('checksum', self.recording, *options)

    def test_convert(self):
        for form, size in (('grey16', 2), ('yuyv', 2), ('i420', 1.5)):
            raw = self.file('raw', bytes(int(64 * 48 * size)))
            self.report('convert', raw, '--from', form, '--size', '64x48', '--out', 'image.png')

    def test_doctor(self):
        done = self.run_tool('', 'doctor', '--json')
        report = self.report('doctor', status=done.returncode)
        self.assertEqual(done.returncode, 1 if report['problems'] else 0)


unittest.main()
