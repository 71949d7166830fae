"""Follows docs/adding-a-service.md to the letter, with its made-up service, in a scratch copy of what it touches.

usage: adding_a_service_test.py --source DIRECTORY --zeb-access LIBRARY --zeb-access-utility LIBRARY [-D...]

The scratch copy is a small project around the folders that the page names; it links the given platform libraries, so that
these are not built again. Further arguments go to CMake.
"""

import argparse
import pathlib
import re
import shutil
import subprocess
import tempfile
import textwrap

FOLDERS = [
    "client/include",
    "cmake",
    "codegen",
    "kelo-client/generated",
    "platform/access-utility/include",
    "platform/access/include",
    "tests/unit/data-objects",
]

PROJECT = """\
cmake_minimum_required(VERSION 3.25)
project(Scratch LANGUAGES CXX)
include(CTest)
include(GNUInstallDirs)
include(cmake/ProjectTargets.cmake)
find_package(Threads REQUIRED)
find_package(Poco REQUIRED COMPONENTS Foundation JSON)
find_package(GTest REQUIRED)
include(GoogleTest)
add_library(Zeb::AccessUtility SHARED IMPORTED GLOBAL)
set_target_properties(Zeb::AccessUtility PROPERTIES
  IMPORTED_LOCATION {utility}
  INTERFACE_INCLUDE_DIRECTORIES ${{PROJECT_SOURCE_DIR}}/platform/access-utility/include
  INTERFACE_LINK_LIBRARIES "Poco::Foundation;Poco::JSON;Threads::Threads")
add_library(Zeb::Access SHARED IMPORTED GLOBAL)
set_target_properties(Zeb::Access PROPERTIES
  IMPORTED_LOCATION {access}
  INTERFACE_INCLUDE_DIRECTORIES ${{PROJECT_SOURCE_DIR}}/platform/access/include
  INTERFACE_LINK_LIBRARIES Zeb::AccessUtility)
add_subdirectory(kelo-client/generated)
add_subdirectory(tests/unit/data-objects)
"""


class Page:
    """The steps of the page: the paths that their texts name, and the blocks that they show."""

    def __init__(self, text):
        section = text[text.index("## A service") : text.index("## A field")]
        self.steps = re.split(r"^\d+\. ", section, flags=re.MULTILINE)[1:]

    def step_with(self, text):
        (step,) = [step for step in self.steps if text in step]
        return step

    @staticmethod
    def block(step, language):
        return textwrap.dedent(re.search(rf"^( *)```{language}\n(.*?)^ *```", step, re.DOTALL | re.MULTILINE).group(2))

    @staticmethod
    def path(step):
        return re.search(r"`([^`]+/[^`]+)`", step).group(1)


def run(command, directory):
    print(f"$ {command}", flush=True)
    subprocess.run(["sh", "-e", "-c", command], cwd=directory, check=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--source", type=pathlib.Path, required=True)
    parser.add_argument("--zeb-access", required=True)
    parser.add_argument("--zeb-access-utility", required=True)
    arguments, definitions = parser.parse_known_args()
    page = Page((arguments.source / "docs" / "adding-a-service.md").read_text(encoding="utf-8"))

    with tempfile.TemporaryDirectory() as name:
        scratch = pathlib.Path(name)
        for folder in FOLDERS:
            shutil.copytree(arguments.source / folder, scratch / folder)
        for model in (scratch / "codegen" / "services").glob("*.yaml"):
            # Their round trips are tested elsewhere.
            model.unlink()
        (scratch / "CMakeLists.txt").write_text(
            PROJECT.format(utility=arguments.zeb_access_utility, access=arguments.zeb_access)
        )

        step = page.step_with("```yaml")
        (scratch / page.path(step)).write_text(page.block(step, "yaml"), encoding="utf-8")

        run(page.block(page.step_with("Run the generator"), "sh"), scratch)

        step = page.step_with("```cmake")
        cmake_lists = scratch / page.path(step)
        text = cmake_lists.read_text(encoding="utf-8")
        first = "  ZebDataObjects_ZEB/Clampcontrol.cpp\n"
        assert text.count(first) == 1
        cmake_lists.write_text(text.replace(first, first + "  " + page.block(step, "cmake")), encoding="utf-8")

        commands = page.block(page.step_with("Build and test"), "sh").splitlines()
        assert commands[0].startswith("cmake -S . -B build")
        commands[0] += " " + " ".join(f"'{definition}'" for definition in definitions)
        assert commands[-1].startswith("ctest")
        # A selection that matches nothing is no success.
        commands[-1] += " --no-tests=error --output-on-failure"
        run("\n".join(commands), scratch)

        run("codegen/generate --check", scratch)


if __name__ == "__main__":
    main()
