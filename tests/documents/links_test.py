#!/usr/bin/python3
"""Bad links of every kind are found, and nothing else is."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

GOOD = {
    "README.md": "# One\n\n[guide](docs/guide.md), [part](docs/guide.md#a-part), ![i](docs/images/i.png)\n",
    "docs/guide.md": "# Guide\n\n## A part\n\n[up](../README.md) [here](#a-part-1) [h](../include/one.h)\n"
                     "\n## A part\n\n[far](https://example.org/none.md)\n\n"
                     "```cpp\nauto f = [](int x) { return a[x](x); };\n# none\n```\n"
                     "`[none](none.md)` <!-- [none](none.md) --> `drivers/NAME/`\n",
    "docs/images/i.png": "",
    "drivers/one/README.md": "# Driver\n\n[a link over\ntwo lines](../../docs/guide.md#guide) `docs/guide.md`\n",
    "include/one.h": "",
}


class LinksTest(unittest.TestCase):
    def run_on(self, changes):
        """The exit status and the output for GOOD with these changes."""
        with tempfile.TemporaryDirectory() as root:
            for name, content in {**GOOD, **changes}.items():
                file = pathlib.Path(root, name)
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text(content)
            script = pathlib.Path(__file__).with_name("links.py")
            done = subprocess.run(
                [sys.executable, script, root],
                stdout=subprocess.PIPE,
                text=True,
                check=False,
            )
            return done.returncode, done.stdout

    def assert_found(self, link, fault):
        status, output = self.run_on({"docs/other.md": f"# Other\n\n{link}\n"})
        self.assertEqual(status, 1, output)
        self.assertIn("docs/other.md:3: ", output)
        self.assertIn(f": {fault}\n1 bad links", output)

    def test_good_links_pass(self):
        self.assertEqual(self.run_on({}), (0, "0 bad links of 8\n"))

    def test_a_page_that_is_missing_is_found(self):
        self.assert_found("[gone](gone.md)", "no such file")

    def test_an_image_that_is_missing_is_found(self):
        self.assert_found("![gone](images/gone.png)", "no such file")

    def test_a_link_in_a_table_is_followed(self):
        self.assert_found("| a | [gone](gone.md) |", "no such file")

    def test_a_link_around_code_is_followed(self):
        self.assert_found("[`gone`](gone.md)", "no such file")

    def test_a_heading_that_is_missing_is_found(self):
        self.assert_found("[gone](guide.md#gone)", "no such heading")
        self.assert_found("[gone](#gone)", "no such heading")

    def test_a_heading_in_code_is_none(self):
        self.assert_found("[none](guide.md#none)", "no such heading")

    def test_a_heading_of_another_kind_of_file_is_found(self):
        self.assert_found("[h](../include/one.h#part)", "names a heading of a file that has none")

    def test_a_link_out_of_the_project_is_found(self):
        self.assert_found("[out](../../other/README.md)", "leaves the project")

    def test_links_that_are_not_followed_are_refused(self):
        self.assert_found("[one][two]", "not a link that this test knows")
        self.assert_found('<a href="guide.md">one</a>', "not a link that this test knows")

    def test_a_path_that_is_missing_is_found(self):
        self.assert_found("see `scripts/gone.sh`", "no such file")

    def test_a_project_without_links_is_refused(self):
        status, _ = self.run_on({name: "" for name in GOOD})
        self.assertEqual(status, 1)


if __name__ == "__main__":
    unittest.main()
