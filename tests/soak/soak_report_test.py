#!/usr/bin/python3
"""A log with any kind of growth fails, and one without passes."""
import pathlib
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "soak_report.py"
LINES = 60


def noise(place):
    """Between -1 and 1, the same in every run."""
    return (place * 7919 % 201 - 100) / 100


class SoakReportTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.log = pathlib.Path(self.folder.name, "soak.csv")

    def columns(self, count=LINES):
        """A healthy run of an hour: noise, and memory that grows while it warms up."""
        places = range(count)
        steady = {name: [100.0 * (place + 1) for place in places]
                  for name in ("frames", "faulty", "recorded", "opened", "unplugged", "recordings",
                               "full_disks", "photos", "clouds", "killed")}
        return {"seconds": [60.0 * (place + 1) for place in places], **steady,
                "defects": [0] * count,
                "resident_kib": [20000 + 100 * noise(place) - 4000 * (place < 5)
                                 for place in places],
                "heap_kib": [2600 + 8 * noise(place + 3) for place in places],
                "threads": [14] * count, "descriptors": [8] * count}

    def report(self, columns, *options):
        """The exit status and the output."""
        rows = [",".join(columns)]
        rows += [",".join(str(value) for value in row) for row in zip(*columns.values())]
        self.log.write_text("\n".join(rows) + "\n", encoding="ascii")
        done = subprocess.run([sys.executable, SCRIPT, *options, self.log], capture_output=True,
                              text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def assert_fails(self, columns, why):
        status, output = self.report(columns)
        self.assertEqual(status, 1, output)
        self.assertIn(why, output)

    def test_a_healthy_run_passes(self):
        status, output = self.report(self.columns())
        self.assertEqual(status, 0, output)
        self.assertIn("Verdict: nothing grew.", output)

    def test_heap_that_leaks_fails(self):
        columns = self.columns()
        columns["heap_kib"] = [value + 2 * place for place, value in enumerate(columns["heap_kib"])]
        self.assert_fails(columns, "heap in use, KiB: grows by")

    def test_heap_that_leaks_less_than_the_limit_passes(self):
        columns = self.columns()
        columns["heap_kib"] = [value + 0.8 * place
                               for place, value in enumerate(columns["heap_kib"])]
        self.assertEqual(self.report(columns)[0], 0)

    def test_resident_memory_that_grows_fails(self):
        columns = self.columns()
        columns["resident_kib"] = [value + 20 * place
                                   for place, value in enumerate(columns["resident_kib"])]
        self.assert_fails(columns, "resident memory, KiB: grows by")

    def test_memory_that_comes_and_goes_passes(self):
        columns = self.columns(count=12)
        columns["resident_kib"] = [16200 + 1800 * (place in (4, 9, 11)) for place in range(12)]
        self.assertEqual(self.report(columns)[0], 0)

    def test_a_leak_below_memory_that_comes_and_goes_fails(self):
        columns = self.columns()
        columns["resident_kib"] = [16200 + 1800 * (place % 5 == 0) + 60 * place
                                   for place in range(LINES)]
        self.assert_fails(columns, "resident memory, KiB: grows by")

    def test_the_limit_of_a_long_run_is_per_hour(self):
        columns = self.columns()
        for place in range(LINES):
            columns["seconds"][place] *= 20
            columns["resident_kib"][place] += 29 * place  # 87 KiB in an hour
        self.assert_fails(columns, "resident memory, KiB: grows by")

    def test_a_thread_more_in_one_line_fails(self):
        columns = self.columns()
        columns["threads"][40] = 15
        self.assert_fails(columns, "threads: 15 instead of 14")

    def test_a_descriptor_more_at_the_end_fails(self):
        columns = self.columns()
        columns["descriptors"][-1] = 9
        self.assert_fails(columns, "descriptors: 9 instead of 8")

    def test_threads_of_the_warm_up_are_not_judged(self):
        columns = self.columns()
        columns["threads"][0] = 9
        columns["threads"][1] = 20
        self.assertEqual(self.report(columns)[0], 0)

    def test_an_interval_without_frames_fails(self):
        columns = self.columns()
        columns["frames"][30] = columns["frames"][29]
        self.assert_fails(columns, "frames: none came between two lines")

    def test_a_part_that_never_ran_fails(self):
        columns = self.columns()
        columns["killed"] = [0] * LINES
        self.assert_fails(columns, "no network camera was killed")

    def test_a_defect_that_was_reported_fails(self):
        columns = self.columns()
        columns["defects"] = [0] * 50 + [1] * 10
        self.assert_fails(columns, "1 defects were reported")

    def test_a_run_of_few_lines_fails(self):
        self.assert_fails(self.columns(4), "4 lines are too few")

    def test_what_was_not_measured_is_left_out(self):
        columns = self.columns()
        columns["resident_kib"] = [""] * LINES
        status, output = self.report(columns)
        self.assertEqual(status, 0, output)
        self.assertNotIn("resident", output)
        self.assertIn("heap in use", output)

    def test_a_log_without_a_line_fails(self):
        status, output = self.report({name: [] for name in self.columns()})
        self.assertEqual(status, 1)
        self.assertIn("there is no line", output)

    def test_the_plot_has_a_curve_with_each_line_of_the_log(self):
        image = pathlib.Path(self.folder.name, "new", "soak.svg")
        self.report(self.columns(), "--svg", image)
        root = xml.etree.ElementTree.parse(image).getroot()
        curves = root.findall("{http://www.w3.org/2000/svg}polyline")
        self.assertEqual([len(curve.get("points").split()) for curve in curves], [LINES] * 5)

    def test_the_document_gets_the_table_between_its_markers(self):
        document = pathlib.Path(self.folder.name, "reliability.md")
        document.write_text("before\n<!-- soak: begin -->\nstale\n<!-- soak: end -->\nafter\n",
                            encoding="utf-8")
        status, output = self.report(self.columns(), "--document", document)
        self.assertEqual(status, 0, output)
        text = document.read_text(encoding="utf-8")
        self.assertTrue(text.startswith("before\n<!-- soak: begin -->\n"), text)
        self.assertTrue(text.endswith("<!-- soak: end -->\nafter\n"), text)
        self.assertNotIn("stale", text)
        self.assertIn("| threads | 14 | 14 | 14 |", text)

    def test_a_document_without_markers_is_refused(self):
        document = pathlib.Path(self.folder.name, "reliability.md")
        document.write_text("no place\n", encoding="utf-8")
        status, output = self.report(self.columns(), "--document", document)
        self.assertEqual(status, 1)
        self.assertIn("has not exactly one place", output)


if __name__ == "__main__":
    unittest.main()
