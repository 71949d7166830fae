"""Follows CONTRIBUTING.md to the letter where it explains how to add a service and a field: its made-up service, and
its field of an existing service, in a scratch copy of what it touches.

usage: adding_a_service_test.py --source DIRECTORY --zeb-access LIBRARY --zeb-access-utility LIBRARY [-D...]

The scratch copy is a small project around the folders that the page names. It links the given platform libraries, so
these are not built again. Further arguments go to CMake.
"""

import argparse
import json
import pathlib
import re
import shutil
import subprocess
import tempfile
import textwrap

import jsonschema
import yaml

FOLDERS = [
    "logging/include",
    "cmake",
    "codegen",
    "kelo-client/generated",
    "platform/access-utility/include",
    "platform/access/include",
    "tests/support",
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


class Steps:
    """The numbered steps of a section, with the paths and code blocks in them."""

    def __init__(self, page, begin, end):
        section = page[page.index(f"### {begin}\n"):page.index(end)]
        self.steps = re.split(r"^\d+\. ", section, flags=re.MULTILINE)[1:]

    def with_text(self, text):
        (step,) = [step for step in self.steps if text in step]
        return step

    def block(self, text, language):
        step = self.with_text(text)
        return textwrap.dedent(re.search(rf"^( *)```{language}\n(.*?)^ *```", step, re.DOTALL | re.MULTILINE).group(2))

    def path(self, text):
        return re.search(r"`([^`]+/[^`]+)`", self.with_text(text)).group(1)


def run(command, directory):
    print(f"$ {command}", flush=True)
    subprocess.run(["sh", "-e", "-c", command], cwd=directory, check=True)


def insert_after(path, line, text):
    content = path.read_text(encoding="utf-8")
    assert content.count(line) == 1, f"{path}: {line!r} is there {content.count(line)} times"
    path.write_text(content.replace(line, line + text), encoding="utf-8")


def build_and_test(steps, scratch, definitions):
    commands = steps.block("Build and test", "sh").splitlines()
    assert commands[0].startswith("cmake --preset")
    commands[0] += " " + " ".join(f"'{definition}'" for definition in definitions)
    assert commands[-1].startswith("ctest")
    # A selection that matches nothing must fail.
    commands[-1] += " --no-tests=error --output-on-failure"
    run("\n".join(commands), scratch)
    run("codegen/generate --check", scratch)


def add_service(steps, scratch):
    model = scratch / steps.path("Write its model")
    model.write_text(steps.block("Write its model", "yaml"), encoding="utf-8")
    run(steps.block("Run the generator", "sh"), scratch)
    insert_after(
        scratch / steps.path("```cmake"),
        "  ZebDataObjects_ZEB/Clampcontrol.cpp\n",
        "  " + steps.block("```cmake", "cmake"),
    )
    return yaml.load(model.read_text(encoding="utf-8"), Loader=yaml.BaseLoader)


def check_elements(steps, model, scratch):
    """Checks the page's examples for tests that are not built here: they must contain every resource and field, and be
    what the simulator takes."""
    services = json.loads("{" + steps.block("simulated bus", "json") + "}")
    fuzzed = steps.block("```cpp", "cpp").splitlines()
    schema = json.loads((scratch / "simulator" / "bus.schema.json").read_text(encoding="utf-8"))
    assert model["service"] in schema["properties"]["services"]["properties"]
    jsonschema.Draft202012Validator(schema).validate({"services": services})
    resources = services[model["service"]]
    for resource in model["resources"]:
        (element,) = resources[resource["name"]]
        assert set(element) == {"id", "name", *(field["key"] for field in resource["fields"])}, element
        assert f"&fill<zebobjects_ZEB::{model['unit']}Service::{resource['class']}>," in fuzzed, fuzzed
    assert len(resources) == len(fuzzed) == len(model["resources"])


def add_field(steps, scratch):
    step = steps.with_text("Add it to its resource")
    (resource,) = re.findall(r"instance to `(\w+)`", step)
    path = scratch / steps.path("Add it to its resource")
    before, after = path.read_text(encoding="utf-8").split(f"  - class: {resource}\n")
    fields, next_class, rest = after.partition("\n  - class: ")
    field = textwrap.indent(steps.block("Add it to its resource", "yaml"), "      ")
    path.write_text(
        f"{before}  - class: {resource}\n{fields.rstrip()}\n{field}{next_class}{rest}", encoding="utf-8"
    )
    run(steps.block("Run the generator", "sh"), scratch)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--source", type=pathlib.Path, required=True)
    parser.add_argument("--zeb-access", required=True)
    parser.add_argument("--zeb-access-utility", required=True)
    arguments, definitions = parser.parse_known_args()
    page = (arguments.source / "CONTRIBUTING.md").read_text(encoding="utf-8")
    service_steps = Steps(page, "A service", "### A field\n")
    field_steps = Steps(page, "A field", "## Releasing\n")

    with tempfile.TemporaryDirectory() as name:
        scratch = pathlib.Path(name)
        for folder in FOLDERS:
            shutil.copytree(arguments.source / folder, scratch / folder)
        shutil.copy(arguments.source / "CMakePresets.json", scratch)
        for model in (scratch / "codegen" / "services").glob("*.yaml"):
            if model.name != "clampcontrol.yaml":
                # One existing service is enough and builds faster.
                for generated in (scratch / "kelo-client" / "generated").glob(f"**/{model.stem.capitalize()}.*"):
                    generated.unlink()
                model.unlink()
        cmake_lists = scratch / "kelo-client" / "generated" / "CMakeLists.txt"
        kept = [
            line
            for line in cmake_lists.read_text(encoding="utf-8").splitlines(keepends=True)
            if not line.endswith(".cpp\n") or (cmake_lists.parent / line.strip()).exists()
        ]
        cmake_lists.write_text("".join(kept), encoding="utf-8")
        (scratch / "CMakeLists.txt").write_text(
            PROJECT.format(utility=arguments.zeb_access_utility, access=arguments.zeb_access)
        )

        model = add_service(service_steps, scratch)
        check_elements(service_steps, model, scratch)
        build_and_test(service_steps, scratch, definitions)

        add_field(field_steps, scratch)
        build_and_test(field_steps, scratch, definitions)


if __name__ == "__main__":
    main()
