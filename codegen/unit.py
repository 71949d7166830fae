"""What the templates print of a model: names and C++ types, and lines that are laid out as .clang-format has it."""

import pathlib
import textwrap

import jinja2

WIDTH = 110

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
        # How a setter takes its value, and hands it on.
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


def comment(text, indent):
    margin = " " * indent + "/// "
    return "\n".join(textwrap.wrap(" ".join(text.split()), WIDTH, initial_indent=margin, subsequent_indent=margin))


def fitting(indent, *layouts):
    """The first of the layouts that fits the width. A layout is a text whose lines begin where they would without
    the indentation."""
    for layout in layouts:
        lines = [" " * indent + line for line in layout.split("\n")]
        if all(len(line) <= WIDTH for line in lines):
            break
    return "\n".join(lines)


def function(indent, result, name, parameters, qualifier, body):
    """A function with a body of one statement, which may be broken after its last comma."""
    head = f"{result} {name}({parameters}){qualifier} {{"
    if parameters:
        broken_heads = [f"{result} {name}(\n    {parameters}){qualifier} {{"]
    else:
        broken_heads = [f"{result} {name}()\n   {qualifier} {{", f"{result}\n{name}(){qualifier} {{"]
    bodies = [body]
    if "(" in body and ", " in body:
        front, back = body.rsplit(", ", 1)
        bodies.append(f"{front},\n{' ' * (5 + body.index('('))}{back}")
    return fitting(
        indent,
        f"{head} {body} }}",
        *(f"{each_head}\n    {each_body}\n}}" for each_head in (head, *broken_heads) for each_body in bodies),
    )


def arguments(indent, opening, values, closing, column=None):
    """A list of arguments, packed on as few lines as it takes, aligned after the opening."""
    margin = " " * (len(opening) if column is None else column)
    lines = [opening]
    for i, value in enumerate(values):
        text = value + (closing if i + 1 == len(values) else ",")
        if i == 0:
            lines[-1] += text
        elif indent + len(lines[-1]) + 1 + len(text) <= WIDTH:
            lines[-1] += " " + text
        else:
            lines.append(margin + text)
    return "\n".join(" " * indent + line for line in lines)


def derived(indent, name, opening, values):
    head = f"class {name}"
    base = f" : public {opening}"
    one_line = f"{head}{base}{', '.join(values)}> {{"
    if indent + len(one_line) <= WIDTH:
        return " " * indent + one_line
    return f"{' ' * indent}{head}\n" + arguments(indent + 4, base[1:], values, "> {")


def table(enumeration):
    declared = f"const std::map<Service::{enumeration.name}, std::string>"
    name = f"Service::{enumeration.toText} ="
    opening = f"literals<{enumeration.name}>({{\n"

    def literals(indent):
        return "".join(f'{" " * indent}    "{literal}",\n' for literal in enumeration.literals) + " " * indent + "});"

    return fitting(
        0,
        f"{declared} {name} {opening}{literals(0)}",
        f"{declared} {name}\n    {opening}{literals(4)}",
        f"{declared}\n    {name} {opening}{literals(4)}",
        f"{declared}\n    {name}\n        {opening}{literals(8)}",
    )


def reversed_table(enumeration):
    declared = f"const std::map<std::string, Service::{enumeration.name}>"
    name = f"Service::{enumeration.fromText} ="
    value = f"reversed({enumeration.toText});"
    return fitting(
        0,
        f"{declared} {name} {value}",
        f"{declared} {name}\n    {value}",
        f"{declared}\n    {name} {value}",
        f"{declared}\n    {name}\n        {value}",
    )


def tables(enumeration):
    declared = f"const Tables<Service::{enumeration.name}>"
    name = f"tables<Service::{enumeration.name}>{{"
    first = f"Service::{enumeration.toText},"
    second = f"Service::{enumeration.fromText}}};"
    aligned = " " * len(f"{declared} {name}")
    return fitting(
        0,
        f"{declared} {name}{first} {second}",
        f"{declared} {name}{first}\n{aligned}{second}",
        f"{declared} {name}\n    {first} {second}",
        f"{declared} {name}\n    {first}\n    {second}",
        f"{declared}\n    {name}{first}\n    {' ' * len(name)}{second}",
        f"{declared}\n    {name}\n        {first}\n        {second}",
    )


def visited(indent, resource, field):
    return arguments(indent, "visit(", [f'"{field.key}"', f"&{resource.descriptor}::{field.member}"], ");")


def render(model, source):
    """The texts of the header and of the source file. `source` is how they name the model."""
    environment = jinja2.Environment(
        loader=jinja2.FileSystemLoader(pathlib.Path(__file__).parent / "templates"),
        trim_blocks=True,
        lstrip_blocks=True,
        keep_trailing_newline=True,
        undefined=jinja2.StrictUndefined,
    )
    for each in (arguments, comment, derived, fitting, function, table, tables, visited):
        environment.globals[each.__name__] = each
    environment.globals["reversedTable"] = reversed_table
    names = {"unit": Unit(model), "source": source}
    return tuple(environment.get_template(f"unit.{suffix}.j2").render(names) for suffix in ("h", "cpp"))
