#!/usr/bin/python3
"""Bad links of every kind are found, and nothing else is."""
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import sample_project  # noqa: E402

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
# Links, and what is wrong with each.
BAD = {
    "[gone](gone.md)": "no such file",
    "![gone](images/gone.png)": "no such file",
    "| in a table | [gone](gone.md) |": "no such file",
    "[`around code`](gone.md)": "no such file",
    "see `scripts/gone.sh`": "no such file",
    "[gone](guide.md#gone)": "no such heading",
    "[gone](#gone)": "no such heading",
    "[in code](guide.md#none)": "no such heading",
    "[of another kind of file](../include/one.h#part)": "names a heading of a file that has none",
    "[out](../../other/README.md)": "leaves the project",
    "[one][two]": "not a link that this test knows",
    '<a href="guide.md">one</a>': "not a link that this test knows",
}


class LinksTest(unittest.TestCase):
    def run_on(self, changes):
        """The exit status and the output for GOOD with these changes."""
        script = pathlib.Path(__file__).with_name("links.py")
        return sample_project.outcome(script, {**GOOD, **changes})

    def test_good_links_pass(self):
        self.assertEqual(self.run_on({}), (0, "0 bad links of 8\n"))

    def test_each_bad_link_is_found(self):
        for link, fault in BAD.items():
            with self.subTest(link):
                status, output = self.run_on({"docs/other.md": f"# Other\n\n{link}\n"})
                self.assertEqual(status, 1, output)
                self.assertIn("docs/other.md:3: ", output)
                self.assertIn(f": {fault}\n1 bad links", output)

    def test_a_project_without_links_is_refused(self):
        status, _ = self.run_on({name: "" for name in GOOD})
        self.assertEqual(status, 1)


if __name__ == "__main__":
    unittest.main()
