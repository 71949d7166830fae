"""A project that adds this one as a subdirectory gets the library and nothing else.

usage: subproject_test.py SOURCE-DIRECTORY [-D...]

The arguments -D... go to CMake. The project below has a test, which must not switch on the tests of the library.
"""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv[1])
DEFINITIONS = sys.argv[2:]

PROJECT = f"""
cmake_minimum_required(VERSION 3.25)
project(Parent LANGUAGES CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
include(CTest)
add_subdirectory({SOURCE} clampcontrol)
add_executable(application main.cpp)
target_link_libraries(application PRIVATE ClampControl::Client)
add_test(NAME ParentTest COMMAND application)
"""

MAIN = """
#include <clampcontrolclient/ClampControlClient.h>

int main() {
    const clampcontrolclient::ClampControlClient client;
}
"""


def run(*command):
    """The command's output; fails with it when the command fails."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}: exit status {done.returncode}\n{done.stdout}")
    return done.stdout


class Subproject(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        place = tempfile.TemporaryDirectory()
        cls.addClassCleanup(place.cleanup)
        root = pathlib.Path(place.name)
        (root / "CMakeLists.txt").write_text(PROJECT)
        (root / "main.cpp").write_text(MAIN)
        cls.build = root / "build"
        run("cmake", "-S", root, "-B", cls.build, "-G", "Ninja", *DEFINITIONS)
        cls.commands = json.loads((cls.build / "compile_commands.json").read_text())

    def test_warnings_are_not_errors(self):
        ours = [entry for entry in self.commands if pathlib.Path(entry["file"]).is_relative_to(SOURCE / "client")]
        self.assertTrue(ours)
        self.assertEqual([entry["file"] for entry in self.commands if "-Werror" in entry["command"]], [])

    def test_only_the_library_is_built(self):
        others = [
            entry["file"]
            for entry in self.commands
            for folder in ("simulator", "tools", "examples", "tests", "codegen", "bench")
            if pathlib.Path(entry["file"]).is_relative_to(SOURCE / folder)
        ]
        self.assertEqual(others, [])

    def test_the_only_test_is_the_parents(self):
        listed = json.loads(run("ctest", "--test-dir", self.build, "--show-only=json-v1"))
        self.assertEqual([test["name"] for test in listed["tests"]], ["ParentTest"])

    def test_an_application_links_the_library(self):
        run("cmake", "--build", self.build, "--target", "application")
        run(self.build / "application")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
