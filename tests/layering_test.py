#!/usr/bin/python3
"""Bad includes of every kind are found, and nothing else is."""
import pathlib
import unittest

import sample_project

GOOD = {
    "include/nubrix/api.h": '#include "nubrix/types.h"\n#include <string>\n',
    "include/nubrix/types.h": "",
    "src/base/Lock.h": '#include "nubrix/types.h"\n',
    "src/base/Lock.cpp": '#include "base/Lock.h"\n',
    "src/device/Device.h": '#include "base/Lock.h"\n',
    "drivers/common/Shared.h": "",
    "drivers/one/One.cpp": '#include "one/One.h"\n#include "common/Shared.h"\n',
    "drivers/one/One.h": '#include "nubrix/api.h"\n',
    "drivers/two/Two.h": "",
    "tools/tool/main.cpp": '#include "Command.h"\n#include "nubrix/api.h"\n',
    "tools/tool/Command.h": '#include "common/Text.h"\n#include "output/Table.h"\n',
    "tools/tool/output/Table.h": "",
    "drivers/common/Text.h": "",
    "tools/nubrix/Stop.h": "",
    "tools/simulator/Served.h": "",
    "tools/simulate/main.cpp": '#include "Served.h"\n#include "Stop.h"\n#include "virtual/Room.h"\n',
    "drivers/virtual/Room.h": "",
}
RULES = ["base:", "device:base"]


class LayeringTest(unittest.TestCase):
    def run_on(self, changes, rules=None):
        """The exit status and the output for GOOD with these changes."""
        script = pathlib.Path(__file__).with_name("layering.py")
        return sample_project.outcome(script, {**GOOD, **changes}, *(rules or RULES))

    def assert_found(self, where, include):
        file, number = where.split(":")
        content = "\n" * (int(number) - 1) + f'#include "{include}"\n'
        status, output = self.run_on({file: content})
        self.assertEqual(status, 1, output)
        self.assertIn(f'{where}: "{include}"', output)
        self.assertIn("1 bad includes", output)

    def test_good_includes_pass(self):
        self.assertEqual(self.run_on({}), (0, "0 bad includes of 14\n"))

    def test_a_lower_floor_may_not_use_a_higher_one(self):
        self.assert_found("src/base/Clock.cpp:3", "device/Device.h")

    def test_an_include_without_its_folder_is_found(self):
        self.assert_found("src/base/Clock.cpp:1", "Lock.h")

    def test_an_include_that_leaves_its_folder_is_found(self):
        self.assert_found("src/base/Clock.cpp:1", "../device/Device.h")

    def test_a_missing_header_is_found(self):
        self.assert_found("src/device/Other.cpp:1", "base/Missing.h")

    def test_a_public_header_may_not_use_the_inside(self):
        self.assert_found("include/nubrix/more.h:2", "base/Lock.h")

    def test_a_driver_may_not_use_the_inside(self):
        self.assert_found("drivers/one/More.cpp:1", "base/Lock.h")

    def test_a_driver_may_not_use_another_driver(self):
        self.assert_found("drivers/one/More.cpp:1", "two/Two.h")

    def test_a_tool_may_not_use_a_folder_of_another_tool(self):
        self.assert_found("tools/other/More.cpp:1", "output/Table.h")

    def test_a_tool_may_not_use_the_inside_or_a_driver(self):
        self.assert_found("tools/tool/More.cpp:1", "base/Lock.h")
        self.assert_found("tools/tool/More.cpp:1", "one/One.h")
        self.assert_found("tools/tool/More.cpp:1", "common/Shared.h")

    def test_only_the_simulator_shows_what_a_driver_has_and_that_of_one_only(self):
        self.assert_found("tools/tool/More.cpp:1", "virtual/Room.h")
        self.assert_found("tools/tool/More.cpp:1", "Served.h")
        self.assert_found("tools/simulate/More.cpp:1", "one/One.h")
        self.assert_found("tools/simulate/More.cpp:1", "base/Lock.h")

    def test_a_folder_without_a_rule_is_found(self):
        status, output = self.run_on({}, ["base:"])
        self.assertEqual(status, 1)
        self.assertIn("src/device: no rule", output)


if __name__ == "__main__":
    unittest.main()
