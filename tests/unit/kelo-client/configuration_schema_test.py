#!/usr/bin/env python3
"""Checks that the schema of the configuration file and the library's own check agree.

usage: configuration_schema_test.py SCHEMA PROGRAM

PROGRAM prints what the library says about files. The test changes a configuration in every place: it removes each
key, misspells it, and gives it values of every kind. The schema must refuse what the library calls an error or a
warning, at the same place, and nothing else. BEYOND lists what only the library can see.
"""

import copy
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import jsonschema

SCHEMA = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
PROGRAM = sys.argv[2]

COMPLETE = {
    "$schema": "ClientConfig.schema.json",
    "serviceRegistrySettings": {
        "mode": "staticBeforeDynamic",
        "httpUri": "http://192.168.1.1:8080/registry",
        "serviceSettings": [
            {"service": "ClampControl", "useSeparator": True, "watchdogTimeout": 1000},
            {"service": "AuthenticTime", "useSeparator": False, "watchdogTimeout": 0},
        ],
    },
    "services": {
        "ClampControl": {
            "serverBaseUri": "http://127.0.0.1:8080",
            "serverBasePathHTTP": "/bus/",
            "serverBasePathWS": "/",
            "separatorAfterRessource": "-",
        },
        "Immobilizer": {"serverBaseUri": "http://[::1]", "watchdogTimeout": 500},
    },
}

VALUES = [
    None, True, 0, 5, -1, 1.5, 31536000000, 31536000001, 2**63,
    "", "text", "staticOnly", "dynamicOnly", "static",
    "http://a:1", "https://a/", "HTTP://[::1]:1", "http://a/b", "http://u:p@a", "http://a?b", "http://a#b", "a:80",
    "a b", "/a/", "//", [], [5], [{}], {}, {"a": 1},
]

# What the library warns of although the form of the file is right.
BEYOND = [
    "the service has no watchdog", "not set, so the service registry", "is not used to connect",
    "the library does not know service", "uses http, although",
    "has an entry already",
]


def text_of(path):
    """A path in the form of the library."""
    text = ""
    for part in path:
        text += f"[{part}]" if isinstance(part, int) else f".{part}"
    return text.lstrip(".")


def places(value, path=()):
    """The path of every member and element below a value."""
    items = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else []
    for key, child in items:
        yield (*path, key)
        yield from places(child, (*path, key))


def parent_of(document, path):
    for part in path[:-1]:
        document = document[part]
    return document


def changed_documents():
    """Pairs of a description and a document."""
    yield "nothing", COMPLETE
    for path in places(COMPLETE):
        removed = copy.deepcopy(COMPLETE)
        del parent_of(removed, path)[path[-1]]
        yield f"without {text_of(path)}", removed
        if isinstance(path[-1], str):
            renamed = copy.deepcopy(COMPLETE)
            members = parent_of(renamed, path)
            members[path[-1] + "X"] = members.pop(path[-1])
            yield f"{text_of(path)} misspelt", renamed
        for value in VALUES:
            replaced = copy.deepcopy(COMPLETE)
            parent_of(replaced, path)[path[-1]] = value
            yield f"{text_of(path)} = {json.dumps(value)}", replaced
    for value in (None, True, 5, "text", []):
        yield f"the root = {value}", value


def paths_of_findings(output):
    """Of each file: the places where the library sees a fault in its form."""
    for report in output.split("\n\n")[:-1]:
        findings = [line.split("\t", 2) for line in report.strip("\n").splitlines()]
        yield [
            (path, text) for severity, path, text in findings
            if severity != "2" and not any(beyond in text for beyond in BEYOND)
        ]


class ConfigurationSchema(unittest.TestCase):
    def test_is_a_schema(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_has_no_key_that_is_not_tried(self):
        def keys(value):
            if isinstance(value, dict):
                for key, child in value.items():
                    yield key
                    yield from keys(child)
            elif isinstance(value, list):
                for child in value:
                    yield from keys(child)

        named = {key for part in [SCHEMA, *SCHEMA["$defs"].values()] for key in part.get("properties", {})}
        self.assertEqual(named - set(keys(COMPLETE)), set())

    def test_agrees_with_the_check_of_the_library(self):
        validator = jsonschema.Draft202012Validator(SCHEMA)
        documents = list(changed_documents())
        with tempfile.TemporaryDirectory() as directory:
            files = []
            for number, (_, document) in enumerate(documents):
                files.append(pathlib.Path(directory, f"{number}.json"))
                files[-1].write_text(json.dumps(document), encoding="utf-8")
            output = subprocess.run([PROGRAM, *map(str, files)], check=True, capture_output=True, text=True).stdout
        findings = list(paths_of_findings("\n" + output))
        self.assertEqual(len(findings), len(documents))
        refused = 0
        for (description, document), found in zip(documents, findings):
            with self.subTest(description):
                errors = [(text_of(error.absolute_path), error.message) for error in validator.iter_errors(document)]
                refused += bool(errors)
                self.assertEqual(bool(errors), bool(found), f"schema: {errors}, library: {found}")
                for path, message in errors:
                    same = [at for at, _ in found if at.startswith(path) or path.startswith(at)]
                    self.assertTrue(same, f"the library sees no fault at {path}: {message}, but {found}")
        self.assertGreater(refused, 100)
        self.assertGreater(len(documents) - refused, 50)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
