"""Reads a service model. An invalid model is refused with file, line and reason."""

from document import Document
from rules import refuse_broken_rules
from shape import refuse_wrong_shape


def load(path):
    """Returns the document of a valid model. Raises BrokenModel or OSError otherwise."""
    document = Document(path)
    refuse_wrong_shape(document)
    refuse_broken_rules(document)
    return document
