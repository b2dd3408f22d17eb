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

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import sample_project  # noqa: E402

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


def html_name(file):
    return 'index' if str(file) == 'README.md' else pages.page_name(file)


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
            self.assertTrue((self.out / f'{html_name(file)}.html').exists(), file)

    def test_each_link_leads_somewhere_and_nothing_comes_from_another_host(self):
        self.assertEqual(list(html_links.faults_of(self.out)), [])

    def test_no_markup_is_left(self):
        for file in pages.page_files(ROOT):
            text = (self.out / f'{html_name(file)}.html').read_text().partition('class="contents"')[2]
            text = re.sub(r'<(pre|code|script)\b.*?</\1>|<div class="fragment">.*?</div><!-- fragment -->', '',
                          text, flags=re.DOTALL)
            left = re.findall(r'.{0,40}(?:`|\*\*|\]\(|\|---|@ref|\{#).{0,40}', text)
            self.assertEqual(left, [], file)

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
        files = {'README.md': '# One\n\n[two](docs/two.md#part)\n', 'docs/two.md': "# Two\n\n## Part\n\n`a 'b' c` and [`d`](../README.md), `e`\n",
                 'examples/README.md': '# Three\n\n| what | how |\n|---|---|\n| a | [four](cpp/four.cpp) |\n',
                 'examples/cpp/four.cpp': 'int main() { nothing(); }\n',
                 'include/nubrix/version.h': HEADER}
        sample_project.write(root, {**files, **changes})
        done = make(root, root / 'out')
        return done.returncode, done.stderr

    def test_a_project_without_faults_passes_and_its_programs_are_shown(self):
        self.assertEqual(self.outcome({}), (0, ''))
        out = FOLDER / 'project/out'
        self.assertEqual(list(html_links.faults_of(out)), [])
        self.assertIn('href="four_8cpp-example.html"', (out / 'examples_readme.html').read_text())
        page = (out / 'docs_two.html').read_text().partition('class="contents"')[2]
        self.assertRegex(page, "<code>a 'b' c</code> and <a [^>]*>d</a>, <code>e</code>")
        self.assertIn('nothing', (out / 'four_8cpp-example.html').read_text())

    def test_faults_of_each_kind_are_refused(self):
        header = HEADER.replace('Does nothing.', 'Does nothing, see docs/unknown.md.') + '\n'.join((
            'void more();', '#define MORE 1', 'struct Type {', '    int member;', '};', 'enum Kind { kOne };',
            '/// A space.', 'namespace nubrix { void inside(); }'))
        status, warnings = self.outcome({
            'README.md': '# One\n\n[page](docs/missing.md)\n\n[heading](docs/two.md#absent)\n',
            'docs/two.md': '# Two\n\n![image](images/gone.png)\n',
            'include/nubrix/version.h': header})
        self.assertNotEqual(status, 0)
        for place, fault in (('README.md:3', 'docs_missing'), ('README.md:5', 'docs_two-absent'),
                             ('two.md:3', 'docs_images_gone'), ('version.h:5', 'docs_unknown'),
                             ('version.h:7', 'Member more'), ('version.h:8', 'Member MORE'),
                             ('version.h:9', 'Compound Type'), ('version.h:10', 'Member member'),
                             ('version.h:12', 'Member Kind'), ('version.h:14', 'Member inside')):
            self.assertRegex(warnings, f'{place}: error: .*{fault}')

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
