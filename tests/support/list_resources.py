"""Writes a header with the resources and services of every model and their enumerated fields, for tests that cover all.

usage: list_resources.py OUTPUT MODEL...
"""

import pathlib
import sys

import yaml


def main():
    output, *paths = sys.argv[1:]
    models = [yaml.load(pathlib.Path(path).read_text(encoding="utf-8"), Loader=yaml.BaseLoader) for path in paths]
    resources = [
        (f"zebobjects_ZEB::{model['unit']}Service::{resource['class']}", resource)
        for model in models
        for resource in model["resources"]
    ]
    lines = ["// Generated from the models. Do not edit.", "#pragma once", ""]
    lines += [f"#include <ZebDataObjects_ZEB/{model['unit']}.h>" for model in models]
    lines += [
        "",
        "namespace test_resources {",
        "",
        "/// A list of types: all resources of all models.",
        "template <template <typename...> class List>",
        "using All = List<" + ", ".join(name for name, _ in resources) + ">;",
        "",
        "/// The names of the services of all models.",
        "constexpr const char* kServices[] = {" + ", ".join(f'"{model["service"]}"' for model in models) + "};",
        "",
        "/// Each calls `visit` with all enumerated fields of the element, lists included.",
    ]
    for name, resource in resources:
        keys = [field["key"] for field in resource["fields"] if "literals" in field]
        getters = ", ".join(f"element.get{key[0].upper()}{key[1:]}()" for key in keys)
        lines += [
            "template <typename Visit>",
            f"void visitEnumeratedFields([[maybe_unused]] const {name}& element, const Visit& visit) {{",
            f"    visit({getters});",
            "}",
        ]
    lines += ["", "}  // namespace test_resources"]
    pathlib.Path(output).write_text("\n".join(lines) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
