"""scripts/check-dialect catches what clang-format and clang-tidy let pass.

usage: check_dialect_test.py SOURCE-DIRECTORY
"""

import pathlib
import sys
import unittest

from scratch_copy import append, run, scratch_copy

SOURCE = pathlib.Path(sys.argv.pop())
CHECK = SOURCE / "scripts" / "check-dialect"
FILE = "logging/src/CSCLogging.cpp"


class CheckDialect(unittest.TestCase):
    def assert_caught(self, text, advice):
        with scratch_copy(SOURCE) as root:
            line = len((root / FILE).read_text().splitlines()) + 1
            append(root / FILE, text + "\n")
            status, output = run(CHECK, root)
            self.assertEqual(status, 1, output)
            self.assertIn(f"{FILE}:{line}: {advice}", output)

    def test_the_tree_as_it_is_passes(self):
        with scratch_copy(SOURCE) as root:
            status, output = run(CHECK, root)
            self.assertEqual(status, 0, output)

    def test_a_lock_with_its_template_argument_is_caught(self):
        self.assert_caught("const std::lock_guard<std::mutex> lock(mutex);", "leave out the lock's")

    def test_class_as_a_template_parameter_is_caught(self):
        self.assert_caught("template <typename A, class B>", "write typename")

    def test_a_scalar_in_braces_is_caught(self):
        self.assert_caught("    std::size_t count_{0};", "initialise scalars and atomics with =")

    def test_an_atomic_in_braces_is_caught(self):
        self.assert_caught("std::atomic<bool> ended{false};", "initialise scalars and atomics with =")


if __name__ == "__main__":
    unittest.main()
