"""Reads the model of a service and refuses one that is broken, with file, line and reason."""

import json
import pathlib

import jsonschema
import yaml

RESERVED = frozenset(
    """
    alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t char32_t class compl
    concept const consteval constexpr constinit const_cast continue co_await co_return co_yield decltype default
    delete do double dynamic_cast else enum explicit export extern false float for friend goto if inline int long
    mutable namespace new noexcept not not_eq nullptr operator or or_eq private protected public register
    reinterpret_cast requires return short signed sizeof static static_assert static_cast struct switch template
    this thread_local throw true try typedef typeid typename union unsigned using virtual void volatile wchar_t
    while xor xor_eq
    """.split()
)

# What every element has, and what the getters and setters of the base classes are already called.
TAKEN_KEYS = frozenset(
    """
    id name uri asJson asReference asZEBBody descriptor filter queryOptions queryOptionsLimit queryOptionsOffset
    idFromUri relativeUri resourceName serviceName sortByFieldsAsStringVector vectorAsStringVector asString
    """.split()
)

TAKEN_CLASSES = frozenset(["DataObject", "Field", "Kind", "Optional", "ResourceDescriptor", "Service", "Tables"])


class BrokenModel(Exception):
    """The text says file, line and reason."""


def capitalised(key):
    return key[0].upper() + key[1:]


def load(path):
    """Returns the model as plain dictionaries and lists."""
    return _Reader(pathlib.Path(path)).model


class _Reader:
    def __init__(self, path):
        self.path = path
        try:
            node = yaml.compose(path.read_text(encoding="utf-8"), Loader=yaml.SafeLoader)
        except yaml.MarkedYAMLError as error:
            mark = error.problem_mark or error.context_mark
            raise BrokenModel(f"{path}:{mark.line + 1}: {error.problem}") from None
        except (yaml.YAMLError, UnicodeDecodeError) as error:
            raise BrokenModel(f"{path}:1: {error}") from None
        if node is None:
            raise BrokenModel(f"{path}:1: the file is empty")
        self.lines = {}
        self.model = self._plain(node, ())
        self._check_schema()
        self._check_names()

    def _fail(self, place, reason):
        while place not in self.lines:
            place = place[:-1]
        raise BrokenModel(f"{self.path}:{self.lines[place]}: {reason}")

    def _plain(self, node, place):
        self.lines[place] = node.start_mark.line + 1
        if isinstance(node, yaml.MappingNode):
            result = {}
            for key_node, value_node in node.value:
                key = key_node.value
                self.lines[place + (key,)] = key_node.start_mark.line + 1
                if key in result:
                    self._fail(place + (key,), f'"{key}" is given twice')
                result[key] = self._plain(value_node, place + (key,))
            return result
        if isinstance(node, yaml.SequenceNode):
            return [self._plain(item, place + (index,)) for index, item in enumerate(node.value)]
        # Every scalar of a model is a text, "none" and "error" as much as "on" and "1".
        return node.value

    def _check_schema(self):
        schema = json.loads(pathlib.Path(__file__).with_name("model.schema.json").read_text(encoding="utf-8"))
        errors = list(jsonschema.Draft202012Validator(schema).iter_errors(self.model))
        if not errors:
            return
        # A misspelt property is also a missing one, and the former says more.
        misspelt = [error for error in errors if error.validator == "additionalProperties"]
        error = jsonschema.exceptions.best_match(misspelt or errors)
        place = tuple(error.absolute_path)
        if error.validator == "enum":
            reason = f'"{error.instance}" is none of: {", ".join(error.validator_value)}'
        elif error.validator == "pattern":
            reason = f'"{error.instance}" does not match {error.validator_value}'
        elif error.validator == "required":
            missing = [name for name in error.validator_value if name not in error.instance]
            reason = f'"{missing[0]}" is missing'
        elif error.validator == "additionalProperties":
            unknown = [name for name in error.instance if name not in error.schema["properties"]]
            place += (unknown[0],)
            reason = f'"{unknown[0]}" is not known here'
        elif error.schema is False or error.validator is None:
            reason = f'"{place[-1]}" does not go with this kind'
        else:
            reason = error.message
        self._fail(place, reason)

    def _check_names(self):
        above = []
        names_on_the_bus = set()
        # Classes, enumerations and tables of the unit, the first two by their upper-case forms.
        self.taken = {name.upper() for name in (*TAKEN_CLASSES, self.model["unit"] + "Service")}
        for r, resource in enumerate(self.model["resources"]):
            place = ("resources", r)
            name = resource["class"]
            for used in (name, name + "Descriptor"):
                if used.upper() in self.taken:
                    self._fail(place + ("class",), f'the name "{used}" is taken')
                self.taken.add(used.upper())
            if resource["name"] in names_on_the_bus:
                self._fail(place + ("name",), f'the resource "{resource["name"]}" is there already')
            names_on_the_bus.add(resource["name"])
            self._check_fields(resource, place, above)
            above.append(name)

    def _check_fields(self, resource, resource_place, above):
        names = set()
        every_class = [each["class"] for each in self.model["resources"]]
        for f, field in enumerate(resource["fields"]):
            place = resource_place + ("fields", f)
            key = field["key"]
            if key in RESERVED:
                self._fail(place + ("key",), f'the key "{key}" is a word that C++ reserves')
            if key in TAKEN_KEYS:
                self._fail(place + ("key",), f'the key "{key}" is one that every element has, or would hide an operation')
            # Enumerations are named in upper case, so that keys must differ in more than case.
            if key.upper() in names:
                self._fail(place + ("key",), f'the key "{key}" is there already')
            names.add(key.upper())
            if key.upper() == "FIELDS" and "literals" in field:
                self._fail(place + ("key",), f'an enumeration "{key}" is there already, that of the keys')
            self._check_literals(field, place)
            table = f'map{resource["class"]}{capitalised(key)}'
            if "literals" in field and table in self.taken:
                self._fail(place + ("key",), f'the table "{table}2String" is there already')
            self.taken.add(table)
            if "to" in field and field["to"] not in above:
                reason = "stands further down" if field["to"] in every_class else "is not there"
                self._fail(place + ("to",), f'the resource "{field["to"]}" {reason}')

    def _check_literals(self, field, place):
        seen = set()
        for i, literal in enumerate(field.get("literals", [])):
            if literal in RESERVED:
                self._fail(place + ("literals", i), f'the literal "{literal}" is a word that C++ reserves')
            if "__" in literal or (literal[0] == "_"):
                self._fail(place + ("literals", i), f'C++ reserves the identifier "{literal}"')
            if literal in seen:
                self._fail(place + ("literals", i), f'the literal "{literal}" is there already')
            seen.add(literal)
