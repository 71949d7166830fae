"""The names and C++ types that the templates print for a model."""

import pathlib
import textwrap

import jinja2

# Lines that cannot be broken may be longer.
WIDTH = 120

SCALAR_TYPES = {"bool": "bool", "integer": "std::int64_t", "string": "std::string"}
UNTYPED = "zeb::XObject<zeb::XObjectDescriptor>"


def capitalised(key):
    return key[0].upper() + key[1:]


class Enumeration:
    def __init__(self, name, table, literals, doc, selects_fields=False):
        self.name = name
        self.literals = literals
        self.doc = doc
        self.selectsFields = selects_fields
        self.toText = f"map{table}2String"
        self.fromText = f"mapString2{table}"
        self.names = (self.name, self.toText, self.fromText)


class Field:
    def __init__(self, resource_class, field):
        self.key = field["key"]
        self.doc = field["doc"]
        self.name = capitalised(self.key)
        self.member = self.key + "_"
        kind = field["kind"]
        self.hasText = kind in SCALAR_TYPES
        self.operations = [f"get{self.name}", f"set{self.name}"] + [f"get{self.name}AsString"] * self.hasText
        self.to = field.get("to")
        self.enumeration = None
        if "literals" in field:
            name = f"{resource_class}_{self.key}".upper()
            self.enumeration = Enumeration(
                name, resource_class + self.name, field["literals"], field.get("enumeration", self.doc)
            )
        if kind in SCALAR_TYPES:
            self.type = SCALAR_TYPES[kind]
        else:
            self.type = {
                "enumeration": lambda: self.enumeration.name,
                "list of strings": lambda: "std::vector<std::string>",
                "list of enumerations": lambda: f"std::vector<{self.enumeration.name}>",
                "reference": lambda: self.to,
                "list of untyped references": lambda: f"std::vector<{UNTYPED}>",
            }[kind]()
        # How a setter takes its value and passes it on.
        self.parameter, self.argument = {
            "enumeration": (f"{self.type} value", "value"),
            "list of enumerations": (f"{self.type} value", "std::move(value)"),
            "list of untyped references": (f"{self.type}& value", "value"),
        }.get(kind, (f"const {self.type}& value", "value"))


class Resource:
    def __init__(self, resource):
        self.name = resource["class"]
        self.descriptor = self.name + "Descriptor"
        self.keysAsText = f"get{self.name}VectorAsStringVector"
        self.busName = resource["name"]
        self.doc = resource["doc"]
        self.fields = [Field(self.name, field) for field in resource["fields"]]
        self.selector = Enumeration(
            f"{self.name.upper()}_FIELDS",
            f"{self.name}Fields",
            [field.key for field in self.fields] + ["id", "name", "uri"],
            f"The keys of {self.name}, for query options.",
            selects_fields=True,
        )
        self.enumerations = [field.enumeration for field in self.fields if field.enumeration] + [self.selector]


class Unit:
    def __init__(self, model):
        self.name = model["unit"]
        self.scope = self.name + "Service"
        self.busName = model["service"]
        self.doc = model["doc"]
        messages = model.get("messages", {})
        self.logger = messages.get("logger", "perMessage")
        self.endOfFill = messages.get("endOfFill", "silent")
        self.resources = [Resource(resource) for resource in model["resources"]]
        self.enumerations = [each for resource in self.resources for each in resource.enumerations]


def comment(indent, text):
    margin = " " * indent + "/// "
    return "\n".join(textwrap.wrap(" ".join(text.split()), WIDTH, initial_indent=margin, subsequent_indent=margin))


def fitted(indent, first, *others):
    """Returns the parts on one line if they fit, otherwise one per line. A closing brace lines up with the first."""
    margin = " " * indent
    line = margin + " ".join((first, *others))
    if len(line) <= WIDTH:
        return line
    return "\n".join([margin + first] + [margin + ("" if part == "}" else "    ") + part for part in others])


def render(model, source):
    """Returns the texts of the header and of the source file. `source` is the path of the model as both show it."""
    environment = jinja2.Environment(
        loader=jinja2.FileSystemLoader(pathlib.Path(__file__).parent / "templates"),
        trim_blocks=True,
        lstrip_blocks=True,
        keep_trailing_newline=True,
        undefined=jinja2.StrictUndefined,
    )
    environment.globals.update(comment=comment, fitted=fitted)
    names = {"unit": Unit(model), "source": source}
    return tuple(environment.get_template(f"unit.{suffix}.j2").render(names) for suffix in ("h", "cpp"))
