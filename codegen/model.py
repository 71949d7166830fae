"""Reads the model of a service and refuses one that is broken, with file, line and reason."""

from document import Document
from rules import refuse_broken_rules
from shape import refuse_wrong_shape


def load(path):
    """Returns the document of a sound model; raises BrokenModel or OSError for any other."""
    document = Document(path)
    refuse_wrong_shape(document)
    refuse_broken_rules(document)
    return document
