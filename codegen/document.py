"""Reads a YAML file as plain dictionaries, lists and texts, and remembers on which line each of them stands.

A place is the way to a part of the file: ("resources", 0, "fields", 2, "key").
"""

import json
import pathlib

import yaml

# More levels than any model has.
DEEPEST = 20


class BrokenModel(Exception):
    """The text says file, line and reason, on one line."""


def quoted(text):
    return json.dumps(text, ensure_ascii=not text.isprintable())


class Document:
    """What a file holds. Of an alias the lines are those of what it stands for."""

    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.lines = {}
        text = self._text()
        self.content = self._plain(self._node(text), (), ())

    def texts(self, name):
        """The places and the texts of all properties of this name."""
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
            self._refuse_line(line, f"the byte 0x{data[error.start]:02x} does not belong to a UTF-8 text")
        text = text.removeprefix("\ufeff").replace("\r\n", "\n")
        for i, character in enumerate(text):
            if not (character.isprintable() or character in "\n\t"):
                self._refuse_line(text.count("\n", 0, i) + 1, f"the character U+{ord(character):04X} cannot be printed")
        return text

    def _node(self, text):
        loader = yaml.SafeLoader(text)
        try:
            node = loader.get_single_node()
        except yaml.MarkedYAMLError as error:
            # What ends too early ends after the last line.
            self._refuse_line(min(error.problem_mark.line + 1, len(text.splitlines())), error.problem)
        except RecursionError:
            self._refuse_line(loader.line + 1, "this is nested too deeply")
        except (OverflowError, ValueError):
            self._refuse_line(loader.line + 1, "a number here is too large")
        if node is None:
            self._refuse_line(1, "the file is empty")
        return node

    def _plain(self, node, place, around):
        self.lines[place] = node.start_mark.line + 1
        if node in around:
            self.refuse(place, "what has an anchor here contains itself")
        if len(place) > DEEPEST:
            self.refuse(place, "this is nested too deeply")
        around += (node,)
        if isinstance(node, yaml.MappingNode):
            return self._mapping(node, place, around)
        if isinstance(node, yaml.SequenceNode):
            return [self._plain(item, place + (index,), around) for index, item in enumerate(node.value)]
        # Every scalar of a model is a text, "none" and "error" as much as "on" and "1".
        return node.value

    def _mapping(self, node, place, around):
        result = {}
        for key_node, value_node in node.value:
            key_line = key_node.start_mark.line + 1
            if not isinstance(key_node, yaml.ScalarNode):
                self._refuse_line(key_line, "the name of a property must be a text")
            key = key_node.value
            if key in result:
                self._refuse_line(key_line, f"{quoted(key)} is given twice")
            result[key] = self._plain(value_node, place + (key,), around)
            self.lines[place + (key,)] = key_line
        return result
