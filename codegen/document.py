"""Reads a YAML file into plain dictionaries, lists and strings, and records the line number of each of them.

A place is the path to a part of the file, such as ("resources", 0, "fields", 2, "key").
"""

import json
import pathlib

import yaml

# No valid model has this many levels.
DEEPEST = 20


class BrokenModel(Exception):
    """Its message is one line with the file, the line number and the reason."""


def quoted(text):
    return json.dumps(text, ensure_ascii=not text.isprintable())


class Document:
    """The content of a file. The lines of an alias are those of the anchored value."""

    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.lines = {}
        text = self._text()
        self.content = self._plain(self._node(text), (), ())

    def texts(self, name):
        """Yields the place and the text of every property with this name."""
        for place in self.lines:
            if place[-1:] == (name,):
                text = self.content
                for step in place:
                    text = text[step]
                yield place, text

    def refuse(self, place, reason):
        self._refuse_line(self.lines[place], reason)

    def _refuse_line(self, line, reason):
        raise BrokenModel(f"{self.path}:{line}: {reason}")

    def _text(self):
        data = self.path.read_bytes()
        try:
            text = data.decode("utf-8")
        except UnicodeDecodeError as error:
            line = data.count(b"\n", 0, error.start) + 1
            self._refuse_line(line, f"the byte 0x{data[error.start]:02x} is not valid UTF-8")
        text = text.removeprefix("\ufeff").replace("\r\n", "\n")
        for i, character in enumerate(text):
            if not (character.isprintable() or character in "\n\t"):
                self._refuse_line(text.count("\n", 0, i) + 1, f"the character U+{ord(character):04X} is not printable")
        return text

    def _node(self, text):
        loader = yaml.SafeLoader(text)
        try:
            node = loader.get_single_node()
        except yaml.MarkedYAMLError as error:
            # PyYAML reports a premature end on the line after the last one.
            self._refuse_line(min(error.problem_mark.line + 1, len(text.splitlines())), error.problem)
        except RecursionError:
            self._refuse_line(loader.line + 1, "the nesting is too deep")
        except (OverflowError, ValueError):
            self._refuse_line(loader.line + 1, "a number is too large")
        if node is None:
            self._refuse_line(1, "the file is empty")
        return node

    def _plain(self, node, place, around):
        self.lines[place] = node.start_mark.line + 1
        if node in around:
            self.refuse(place, "the anchored value contains itself")
        if len(place) > DEEPEST:
            self.refuse(place, "the nesting is too deep")
        around += (node,)
        if isinstance(node, yaml.MappingNode):
            return self._mapping(node, place, around)
        if isinstance(node, yaml.SequenceNode):
            return [self._plain(item, place + (index,), around) for index, item in enumerate(node.value)]
        # Every scalar of a model is a string, including "on" and "1".
        return node.value

    def _mapping(self, node, place, around):
        result = {}
        for key_node, value_node in node.value:
            key_line = key_node.start_mark.line + 1
            if not isinstance(key_node, yaml.ScalarNode):
                self._refuse_line(key_line, "a property name must be a string")
            key = key_node.value
            if key in result:
                self._refuse_line(key_line, f"{quoted(key)} is given twice")
            result[key] = self._plain(value_node, place + (key,), around)
            self.lines[place + (key,)] = key_line
        return result
