"""Checks a document against model.schema.json and explains the first violation to its author."""

import json
import pathlib

import jsonschema

from document import quoted

SCHEMA = json.loads(pathlib.Path(__file__).with_name("model.schema.json").read_text(encoding="utf-8"))

NON_EMPTY_LIST = "must be a list with at least one entry"
MUST_BE = {"string": "must be a string", "array": NON_EMPTY_LIST, "object": "must be a mapping"}


def refuse_wrong_shape(document):
    errors = list(jsonschema.Draft202012Validator(SCHEMA).iter_errors(document.content))
    if errors:
        document.refuse(*_told(min(errors, key=_rank)))


def _rank(error):
    """Ranks an unknown property first, because its correct spelling is also missing. Others stay in schema order."""
    return 0 if error.validator == "additionalProperties" else 1


def _told(error):
    """Returns the place and the reason."""
    place = tuple(error.absolute_path)
    if error.validator == "additionalProperties":
        unknown = next(name for name in error.instance if name not in error.schema["properties"])
        return place + (unknown,), f"unknown property {quoted(unknown)}"
    if error.validator == "required":
        missing = next(name for name in error.validator_value if name not in error.instance)
        return place, f'"{missing}" is missing'
    if error.validator == "type":
        return place, f"{_subject(place)} {MUST_BE[error.validator_value]}"
    if error.validator == "minItems":
        return place, f"{_subject(place)} {NON_EMPTY_LIST}"
    if error.validator == "enum":
        return place, f"{quoted(error.instance)} must be one of: {', '.join(error.validator_value)}"
    if error.validator == "pattern":
        return place, f"{quoted(error.instance)} must be {error.schema['description']}"
    return place, f'"{place[-1]}" is not allowed for this kind'


def _subject(place):
    if not place:
        return "the model"
    if isinstance(place[-1], int):
        return f'entry {place[-1] + 1} of "{place[-2]}"'
    return f'"{place[-1]}"'
