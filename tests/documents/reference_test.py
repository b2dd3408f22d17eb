#!/usr/bin/python3
"""reference_test.py ROOT FOLDER    makes the reference of ROOT twice in FOLDER, and follows its links.
Then small projects, with faults of each kind. Without Doxygen the status is 77."""
import filecmp
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

import html_links

ROOT = pathlib.Path(sys.argv[1])
FOLDER = pathlib.Path(sys.argv[2])
sys.path.insert(0, str(ROOT / 'scripts'))
import pages  # noqa: E402

HEADER = """/// @file
/// One function.
#pragma once

/// Does nothing.
void nothing();
"""


def make(root, out, **environment):
    return subprocess.run([root / 'scripts/docs.sh', out], capture_output=True, text=True, check=False,
                          env={**os.environ, **environment})


def differences(compared):
    for name in compared.left_only + compared.right_only + compared.diff_files + compared.funny_files:
        yield name
    for folder in compared.subdirs.values():
        yield from differences(folder)


class ReferenceTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = FOLDER / 'reference'
        shutil.rmtree(FOLDER, ignore_errors=True)
        cls.done = make(ROOT, cls.out)

    def test_is_made_without_a_warning(self):
        self.assertEqual((self.done.returncode, self.done.stderr), (0, ''))

    def test_has_a_page_of_each_document(self):
        for file in pages.page_files(ROOT):
            name = 'index' if str(file) == 'README.md' else pages.page_name(file)
            self.assertTrue((self.out / f'{name}.html').exists(), file)

    def test_each_link_leads_somewhere_and_nothing_comes_from_another_host(self):
        self.assertEqual(list(html_links.faults_of(self.out)), [])

    def test_the_names_of_the_interface_are_there(self):
        for page, name in (('classNubrixBaseContext', 'takePhoto'), ('ledger_8h', 'nubrixStreamLedger'),
                           ('image_8h', 'rotateClockwise90_YUV420P'), ('types_8h', 'NUBRIX_ERR_NO_FRAME'),
                           ('classnubrix_1_1client_1_1Stream', 'nextComplete')):
            self.assertIn(name, (self.out / f'{page}.html').read_text())

    def test_each_header_is_in_it(self):
        for file in (ROOT / 'include/nubrix').rglob('*.h'):
            if file.parent.name != 'detail':  # Doxygen looks at no name of a file without this line
                self.assertTrue(file.read_text().startswith('/// @file\n'), file)

    def test_each_value_of_an_enumeration_is_explained(self):  # which Doxygen does not look at
        values = 0
        for file in self.out.glob('*.html'):
            for value in re.findall(r'<tr><td class="fieldname">.*?</tr>', file.read_text(), re.DOTALL):
                values += 1
                self.assertNotIn('<td class="fielddoc"></td>', value)
        self.assertGreater(values, 40)

    def test_is_the_same_again(self):
        again = FOLDER / 'elsewhere/again'
        make(ROOT, again, TZ='Asia/Kathmandu', LC_ALL='tr_TR.UTF-8')
        self.assertEqual(list(differences(filecmp.dircmp(self.out, again))), [])


class FaultTest(unittest.TestCase):
    def outcome(self, changes):
        """The status and the warnings of a project with these files."""
        root = FOLDER / 'project'
        shutil.rmtree(root, ignore_errors=True)
        (root / 'docs/images').mkdir(parents=True)
        shutil.copytree(ROOT / 'scripts', root / 'scripts')
        shutil.copytree(ROOT / 'docs/reference', root / 'docs/reference')
        files = {'README.md': '# One\n\n[two](docs/two.md#part)\n', 'docs/two.md': '# Two\n\n## Part\n',
                 'examples/README.md': '# Three\n\n| what | how |\n|---|---|\n| a | [four](cpp/four.cpp) |\n',
                 'examples/cpp/four.cpp': 'int main() { nothing(); }\n',
                 'include/nubrix/version.h': HEADER}
        for name, text in {**files, **changes}.items():
            file = root / name
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text)
        done = make(root, root / 'out')
        return done.returncode, done.stderr

    def assert_refused(self, name, text, *warning):
        status, warnings = self.outcome({name: text})
        self.assertNotEqual(status, 0)
        for part in warning:
            self.assertIn(part, warnings)

    def test_a_project_without_faults_passes_and_its_programs_are_shown(self):
        self.assertEqual(self.outcome({}), (0, ''))
        out = FOLDER / 'project/out'
        self.assertEqual(list(html_links.faults_of(out)), [])
        self.assertIn('href="four_8cpp-example.html"', (out / 'examples_readme.html').read_text())
        self.assertIn('nothing', (out / 'four_8cpp-example.html').read_text())

    def test_a_link_to_a_missing_page_is_refused(self):
        self.assert_refused('docs/two.md', '# Two\n\n## Part\n\n[gone](gone.md)\n', 'two.md:5', 'docs_gone')

    def test_a_link_to_a_missing_heading_is_refused(self):
        self.assert_refused('README.md', '# One\n\n[two](docs/two.md#gone)\n', 'README.md:3', 'gone')

    def test_a_missing_image_is_refused(self):
        self.assert_refused('docs/two.md', '# Two\n\n## Part\n\n![gone](gone.png)\n', 'two.md:5', 'docs_gone')

    def test_a_name_without_a_comment_is_refused(self):
        header = HEADER + '\n'.join((
            'void more();', '#define MORE 1', 'struct Type {', '    int member;', '};', 'enum Kind { kOne };',
            '/// A space.', 'namespace nubrix { void inside(); }'))
        self.assert_refused('include/nubrix/version.h', header, 'version.h:7: error: Member more',
                            'Member MORE', 'Compound Type', 'Member member', 'Member Kind', 'Member inside')

    def test_a_folder_with_other_files_is_left_alone(self):
        out = FOLDER / 'mine'
        out.mkdir(parents=True, exist_ok=True)
        (out / 'letter').write_text('')
        self.assertNotEqual(make(ROOT, out).returncode, 0)
        self.assertTrue((out / 'letter').exists())


if __name__ == '__main__':
    if not shutil.which('doxygen'):
        print('Doxygen is not installed: scripts/deps.sh docs')
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
