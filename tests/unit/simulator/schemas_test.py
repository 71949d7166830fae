#!/usr/bin/env python3
"""Tests the schemas of the bus file and of the scenario: the examples are valid, and typical mistakes are not.

usage: schemas_test.py SOURCE-DIRECTORY PROGRAM

PROGRAM is zeb-bus-sim, which must refuse the same bus files as the schema, and no other.
"""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import jsonschema

SOURCE = pathlib.Path(sys.argv[1])
PROGRAM = sys.argv[2]

BUS_SCHEMA = json.loads((SOURCE / "simulator" / "bus.schema.json").read_text(encoding="utf-8"))
SCENARIO_SCHEMA = json.loads((SOURCE / "simulator" / "scenario.schema.json").read_text(encoding="utf-8"))
BUS = jsonschema.Draft202012Validator(BUS_SCHEMA)
SCENARIO = jsonschema.Draft202012Validator(SCENARIO_SCHEMA)
EXAMPLES = {
    path.name: json.loads(path.read_text(encoding="utf-8"))
    for path in sorted((SOURCE / "examples" / "bus").glob("*.json"))
}

CLAMP = "/ClampControl/clamps/1"
CLAMPS = "/ClampControl/clamps"


def clamps(*elements):
    return {"services": {"ClampControl": {"clamps": list(elements)}}}


def transaction(**fields):
    return {"services": {"servicemanagement": {"transactionTypes": [{"id": "1"} | fields]}}}


def step(kind, **members):
    return [{kind: members}]


RIGHT_BUSES = {
    "no services": {"services": {}},
    "a name of the schema": {"$schema": "bus.schema.json", "services": {}},
    "an element with its id only": clamps({"id": "1"}),
    "a complete element": clamps({"id": "1", "name": "a", "uri": CLAMP, "type": "ClampS", "isSwitchedOn": True}),
    "a service of its own": {"services": {"Own": {"things": [{"id": "1", "anything": [None]}]}}},
    "a resource of its own": {"services": {"ClampControl": {"things": [{"id": "1", "anything": 1}]}}},
    "references": transaction(attachedOperations=[{"uri": "/a/b/c"}], connectionState=None),
}

# Of each mistake, a part of what the simulator says.
WRONG_BUSES = {
    "no services": ({}, 'There is no "services"'),
    "an unknown key": ({"services": {}, "service": {}}, 'Unknown key "service"'),
    "services in a list": ({"services": []}, '"services" must be an object'),
    "the registry": ({"services": {"serviceregistry": {}}}, "is built in"),
    "a service in a list": ({"services": {"ClampControl": []}}, "must be an object of resources"),
    "a service with a slash": ({"services": {"a/b": {}}}, "cannot have the name"),
    "a resource that is an object": ({"services": {"ClampControl": {"clamps": {}}}}, "must be a list of elements"),
    "an element that is a text": (clamps("1"), "An element must be an object"),
    "an element without id": (clamps({"type": "ClampS"}), 'has no "id"'),
    "a number as id": (clamps({"id": 1}), '"id" must be a string'),
    "an id with a slash": (clamps({"id": "a/b"}), "cannot be part of a path"),
    "a number as name": (clamps({"id": "1", "name": 1}), '"name" must be a string'),
    "an unknown field": (clamps({"id": "1", "isSwitchdOn": True}), 'Did you mean "isSwitchedOn"?'),
    "a text as bool": (clamps({"id": "1", "isSwitchedOn": "true"}), '"isSwitchedOn" must be true or false'),
    "a number as bool": (clamps({"id": "1", "isSwitchedOn": 1}), '"isSwitchedOn" must be true or false'),
    "an unknown literal": (clamps({"id": "1", "type": "Clamp_15"}), 'Did you mean "Clamp15"?'),
    "the number of a literal": (clamps({"id": "1", "type": 0}), '"type" must be one of'),
    "an unknown literal in a list": (transaction(privacyGroups=["trackingdata"]), 'Did you mean "trackingData"?'),
    "no list": (transaction(privacyGroups="trackingData"), '"privacyGroups" must be a list'),
    "a path as reference": (transaction(connectionState="/a/b/c"), '"connectionState" must be a reference'),
    "a reference without uri": (transaction(attachedOperations=[{"id": "1"}]), 'needs a "uri"'),
    "null as list": (transaction(attachedOperations=None), '"attachedOperations" must be a list'),
    "a text as integer": (
        {"services": {"Immobilizer": {"info": [{"id": "1", "stateOfLife": "3"}]}}},
        '"stateOfLife" must be an integer',
    ),
    "a fraction as integer": (
        {"services": {"Immobilizer": {"info": [{"id": "1", "stateOfLife": 1.5}]}}},
        '"stateOfLife" must be an integer',
    ),
}

RIGHT_SCENARIOS = [
    [],
    step("set", path=CLAMP, data={"isSwitchedOn": True}),
    step("set", path=CLAMP, data={"isSwitchedOn": "perhaps"}, unchecked=True),
    step("add", path="/ClampControl/clamps/9", data={}),
    step("remove", path=CLAMP),
    step("service", name="ClampControl", available=False),
    step("service", name="ClampControl", present=True),
    step("delay", ms=500),
    step("delay", path="/ClampControl", ms=500),
    step("ignore"),
    step("status", path=CLAMP, code=503, body="no"),
    step("bytes", text="no HTTP"),
    step("bytes", path="/", hex="00 ff0A"),
    step("contentType", type="text/html"),
    step("pad", size=100000),
    step("cut", path=CLAMPS),
    step("refuse", path=CLAMP),
    step("refuse", path=CLAMP, number=429, message="too many"),
    step("withhold"),
    step("withhold", ms=100),
    step("release"),
    step("skip", path=CLAMP, count=2),
    step("twice"),
    step("fragment", size=5),
    step("sameId"),
    step("send", path=CLAMP, text="{}"),
    step("send", path=CLAMP, hex="8100"),
    step("drop"),
    step("drop", service="ClampControl", how="end"),
    step("close", code=1001),
    step("freeze", service="ClampControl"),
    step("stall"),
    step("slow", bytesPerSecond=100),
    step("refuseConnections"),
    step("restart", ms=1000),
    step("clear"),
    step("clear", path=CLAMP),
    step("clear", fault="delay"),
    [{"print": "text"}],
    step("wait", ms=200),
    step("wait", subscribers={"path": CLAMP, "count": 1}),
    step("wait", subscribed={"path": CLAMPS, "count": 1}, timeout=5000),
    step("wait", requests={"path": CLAMPS, "count": 3}),
    step("wait", webSockets={"service": "ClampControl", "count": 0}),
    step("wait", element={"path": CLAMP, "data": {"isSwitchedOn": True}}),
    step("expect", violations={"count": 0}),
    step("expect", subscribers={"path": CLAMP, "count": 1}, within=1000),
    [{"at": 500, "twice": {}}],
]

WRONG_SCENARIOS = {
    "no list": {"print": "text"},
    "a text as step": ["print"],
    "an empty step": [{}],
    "two kinds": [{"twice": {}, "sameId": {}}],
    "a time alone": [{"at": 500}],
    "an unknown kind": step("sett", path=CLAMP, data={}),
    "an unknown member": step("set", path=CLAMP, data={}, uncheckd=True),
    "no data": step("set", path=CLAMP),
    "a list as data": step("set", path=CLAMP, data=[]),
    "the path of a collection": step("set", path=CLAMPS, data={}),
    "a path without slash": step("remove", path="ClampControl/clamps/1"),
    "a service and nothing": step("service", name="ClampControl"),
    "a service and both": step("service", name="ClampControl", available=True, present=True),
    "a delay without time": step("delay", path="/"),
    "a time as text": step("delay", ms="500"),
    "a negative time": step("delay", ms=-1),
    "a status that is none": step("status", code=42),
    "bytes without content": step("bytes", path="/"),
    "bytes twice": step("bytes", text="a", hex="00"),
    "half a byte": step("bytes", hex="0"),
    "a member of nothing": step("twice", path=CLAMP),
    "an unknown end": step("drop", how="cut"),
    "no close code": step("close", service="ClampControl"),
    "a close code that is none": step("close", code=99),
    "a fault that does not last": step("clear", fault="drop"),
    "a path and a fault": step("clear", path="/", fault="delay"),
    "an object as print": step("print", text="a"),
    "a wait for nothing": step("wait", timeout=5),
    "a wait for two things": step("wait", ms=5, violations={"count": 1}),
    "a limit of a pause": step("wait", ms=5, timeout=5),
    "two conditions": step("wait", violations={"count": 1}, requests={"path": CLAMP, "count": 1}),
    "an expectation of a time": step("expect", ms=5),
    "no count": step("expect", subscribers={"path": CLAMP}),
    "a path for WebSockets": step("expect", webSockets={"path": CLAMP, "count": 1}),
    "a limit of a wait as within": step("wait", violations={"count": 1}, within=5),
}


def reads(bus):
    """Whether the simulator takes a bus, and what it says otherwise."""
    with tempfile.TemporaryDirectory() as name:
        directory = pathlib.Path(name)
        (directory / "bus.json").write_text(json.dumps(bus), encoding="utf-8")
        (directory / "nothing.json").write_text("[]", encoding="utf-8")
        arguments = ["--scenario", directory / "nothing.json", "--exit-after-scenario", directory / "bus.json"]
        ended = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=60, check=False)
    return ended.returncode == 0, ended.stderr


class Schemas(unittest.TestCase):
    def test_are_schemas(self):
        for schema in (BUS_SCHEMA, SCENARIO_SCHEMA):
            jsonschema.Draft202012Validator.check_schema(schema)

    def test_take_the_examples(self):
        scenarios = [name for name, content in EXAMPLES.items() if isinstance(content, list)]
        self.assertTrue(0 < len(scenarios) < len(EXAMPLES))
        for name, content in EXAMPLES.items():
            with self.subTest(name):
                (SCENARIO if name in scenarios else BUS).validate(content)

    def test_describe_everything(self):
        steps = SCENARIO_SCHEMA["$defs"]["step"]["properties"]
        for kind, shape in steps.items():
            with self.subTest(kind):
                self.assertIn("description", shape)
                for member, inner in shape.get("properties", {}).items():
                    described = "description" in inner or "description" in self.target(inner)
                    self.assertTrue(described, member)

    @staticmethod
    def target(shape):
        return SCENARIO_SCHEMA["$defs"][shape["$ref"].removeprefix("#/$defs/")] if "$ref" in shape else {}


class BusFiles(unittest.TestCase):
    def test_that_are_right_are_valid_and_read(self):
        for name, bus in RIGHT_BUSES.items():
            with self.subTest(name):
                BUS.validate(bus)
                self.assertEqual(reads(bus), (True, ""))

    def test_with_mistakes_are_neither_valid_nor_read(self):
        for name, (bus, message) in WRONG_BUSES.items():
            with self.subTest(name):
                self.assertFalse(BUS.is_valid(bus))
                is_read, said = reads(bus)
                self.assertFalse(is_read)
                self.assertIn(message, said)
                self.assertRegex(said, r"(?m)^(zeb-bus-sim: )?/.*/bus\.json:1:\d+: ")


class Scenarios(unittest.TestCase):
    def test_that_are_right_are_valid(self):
        for scenario in RIGHT_SCENARIOS:
            with self.subTest(scenario):
                SCENARIO.validate(scenario)

    def test_of_every_kind_and_with_every_member_are_tried(self):
        tried = {}
        for scenario in RIGHT_SCENARIOS:
            for entry in scenario:
                for kind, members in entry.items():
                    tried.setdefault(kind, set()).update(members if isinstance(members, dict) else ())
        kinds = SCENARIO_SCHEMA["$defs"]["step"]["properties"]
        self.assertEqual(set(tried), set(kinds))
        tried_conditions = tried["wait"] | tried["expect"]
        for kind, shape in kinds.items():
            missing = set(shape.get("properties", {})) - tried[kind]
            # The members of an HTTP fault's path and of a time are alike everywhere.
            self.assertLessEqual(missing, {"path", "ms", "service"} | tried_conditions, kind)

    def test_with_mistakes_are_not_valid(self):
        for name, scenario in WRONG_SCENARIOS.items():
            with self.subTest(name):
                self.assertFalse(SCENARIO.is_valid(scenario))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
