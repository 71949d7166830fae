"""Writes the resources of a service as structures for nlohmann's library, from its model.

usage: generate_nlohmann_elements.py MODEL OUTPUT
"""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "codegen"))

import document  # noqa: E402
import model  # noqa: E402

# What every element has.
COMMON_KEYS = ("id", "name", "uri")

TYPES = {
    "bool": "bool",
    "integer": "std::int64_t",
    "string": "std::string",
    "enumeration": "{enumeration}",
    "list of strings": "std::vector<std::string>",
    "list of enumerations": "std::vector<{enumeration}>",
    "reference": "nlohmann_elements::Reference",
    "list of untyped references": "std::vector<nlohmann_elements::Reference>",
}


def enumeration_of(resource, field):
    """Named as in the data objects, in upper case; a model makes sure that such names differ."""
    return f"{resource['class']}_{field['key']}".upper()


def enumeration_lines(name, literals):
    """A model makes sure that a literal is a good name."""
    return [
        f"enum class {name} {{ {', '.join(literals)} }};",
        f"NLOHMANN_JSON_SERIALIZE_ENUM({name}, {{",
        *(f'    {{{name}::{literal}, "{literal}"}},' for literal in literals),
        "})",
        f"inline std::string_view literalBySwitch({name} value) {{",
        "    switch (value) {",
        *(f'        case {name}::{literal}: return "{literal}";' for literal in literals),
        "    }",
        '    return "unknown value";',
        "}",
        "",
    ]


def resource_lines(resource):
    lines = []
    members = [f"    std::optional<std::string> {', '.join(COMMON_KEYS)};"]
    for field in resource["fields"]:
        enumeration = enumeration_of(resource, field)
        if "literals" in field:
            lines += enumeration_lines(enumeration, field["literals"])
        members += [f"    std::optional<{TYPES[field['kind']].format(enumeration=enumeration)}> {field['key']};"]
    keys = ", ".join([*COMMON_KEYS, *(field["key"] for field in resource["fields"])])
    return [
        *lines,
        f"struct {resource['class']} {{",
        *members,
        "};",
        f"NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT({resource['class']}, {keys})",
        "",
    ]


def main():
    source, output = map(pathlib.Path, sys.argv[1:])
    try:
        service = model.load(source).content
    except document.BrokenModel as error:
        sys.exit(str(error))
    namespace = f"micro::nlohmann_elements::{service['unit'].lower()}"
    lines = [
        f"// Generated from the model of {service['unit']}. Do not edit.",
        "#pragma once",
        "",
        "#include <cstdint>",
        "#include <nlohmann/json.hpp>",
        "#include <optional>",
        "#include <string>",
        "#include <string_view>",
        "#include <vector>",
        "",
        '#include "NlohmannElements.h"',
        "",
        f"namespace {namespace} {{",
        "",
    ]
    for resource in service["resources"]:
        lines += resource_lines(resource)
    lines += [f"}}  // namespace {namespace}"]
    output.write_text("\n".join(lines) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
