"""Refuses a document that matches the schema but would produce invalid C++."""

import pathlib

from unit import Unit

# The reserved words of C++ up to C++20 and of the GNU dialect.
RESERVED_WORDS = frozenset(
    """
    alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t char32_t class compl
    concept const consteval constexpr constinit const_cast continue co_await co_return co_yield decltype default
    delete do double dynamic_cast else enum explicit export extern false float for friend goto if inline int long
    mutable namespace new noexcept not not_eq nullptr operator or or_eq private protected public register
    reinterpret_cast requires return short signed sizeof static static_assert static_cast struct switch template
    this thread_local throw true try typedef typeid typename typeof union unsigned using virtual void volatile wchar_t
    while xor xor_eq
    """.split()
)


def _macros():
    """Returns the object-like macros. A function-like macro is harmless, because the generated code never puts a
    parenthesis after a name from a model where the macro would be expanded."""
    lines = pathlib.Path(__file__).with_name("reserved-macros.txt").read_text(encoding="utf-8").splitlines()
    return frozenset(name for line in lines if not line.startswith("#") for name in line.split())


MACROS = _macros()

# Unqualified names in the generated code and its base classes. A class or enumeration of the service would hide them.
NEEDED_NAMES = frozenset(
    """
    DataObject Desctype EXPAND_LEVEL ElementFactory ElementHandler EnumerationTexts IXObject ListHandler Literals
    Optional Resource ResourceDescriptor Service SortKeys UntypedList Visit XObject XObjectDescriptor
    """.split()
)

# The getters and setters of the base classes. Those of a field would hide them.
OPERATIONS_OF_EVERY_ELEMENT = frozenset(
    """
    getAsJson getAsReference getAsString getAsZEBBody getDescriptor getFilter getId getIdentityDescriptor getName
    getQueryOptions getReferenceUri getRelativeUri getResourceName getServiceName getSortByFieldsAsStringVector getUri
    getVectorAsStringVector setId setIdFromUri setName setQueryOptions setQueryOptionsLimit setQueryOptionsOffset setUri
    """.split()
)


def refuse_broken_rules(document):
    unit = Unit(document.content)
    for rule in (
        refuse_docs_that_break_a_comment,
        refuse_reserved_names,
        refuse_repeated_texts,
        refuse_names_that_collide_in_the_service,
        refuse_operations_that_collide_in_a_resource,
        refuse_references_to_later_resources,
    ):
        rule(document, unit)


def _resources(unit):
    for r, resource in enumerate(unit.resources):
        yield ("resources", r), resource


def _fields(place, resource):
    for f, field in enumerate(resource.fields):
        yield place + ("fields", f), field


def _literals(place, field):
    if field.enumeration:
        for i, literal in enumerate(field.enumeration.literals):
            yield place + ("literals", i), literal


def refuse_docs_that_break_a_comment(document, unit):
    """A // comment continues on the next line after a backslash. Wrapping can put any word at the end of a line. A "*/"
    is harmless."""
    for name in ("doc", "enumeration"):
        for place, text in document.texts(name):
            for sign in ("\\", "??/"):
                if sign in text:
                    document.refuse(place, f'a "{name}" must not contain {sign}')
            unprintable = [each for word in text.split() for each in word if not each.isprintable()]
            if unprintable:
                document.refuse(place, f'a "{name}" must not contain the character U+{ord(unprintable[0]):04X}')


def _identifiers(unit):
    """Yields place, kind and text of each identifier. Names that end in "Descriptor", "_FIELDS" or "Service"
    are omitted, because none of them is reserved."""
    for resource_place, resource in _resources(unit):
        yield resource_place + ("class",), "class", resource.name
        for place, field in _fields(resource_place, resource):
            yield place + ("key",), "key", field.key
            if field.enumeration:
                yield place + ("key",), "enumeration", field.enumeration.name
            for literal_place, literal in _literals(place, field):
                yield literal_place, "literal", literal


def refuse_reserved_names(document, unit):
    for place, what, name in _identifiers(unit):
        if name in RESERVED_WORDS:
            document.refuse(place, f'the {what} "{name}" is a reserved word of C++')
        if "__" in name:
            document.refuse(place, f'the {what} "{name}" contains a double underscore, which C++ reserves')
        if name in MACROS:
            document.refuse(place, f'the {what} "{name}" is a macro in a header')


def refuse_repeated_texts(document, unit):
    _refuse_repeated(document, "resource", ((p + ("name",), resource.busName) for p, resource in _resources(unit)))
    for resource_place, resource in _resources(unit):
        _refuse_repeated(document, "key", ((p + ("key",), field.key) for p, field in _fields(resource_place, resource)))
        for place, field in _fields(resource_place, resource):
            _refuse_repeated(document, "literal", _literals(place, field))


def _refuse_repeated(document, what, texts):
    seen = set()
    for place, text in texts:
        if text in seen:
            document.refuse(place, f'duplicate {what} "{text}"')
        seen.add(text)


def _names_in_the_service(unit):
    for resource_place, resource in _resources(unit):
        place = resource_place + ("class",)
        yield place, resource.name
        yield place, resource.descriptor
        for name in resource.selector.names:
            yield place, name
        for field_place, field in _fields(resource_place, resource):
            for name in field.enumeration.names if field.enumeration else ():
                yield field_place + ("key",), name


def refuse_names_that_collide_in_the_service(document, unit):
    made = {}
    for place, name in _names_in_the_service(unit):
        if name in NEEDED_NAMES or name == unit.scope:
            document.refuse(place, f'the name "{name}" is used by the generated code')
        if name in made:
            document.refuse(place, f'the name "{name}" is already generated for line {document.lines[made[name]]}')
        made[name] = place


def refuse_operations_that_collide_in_a_resource(document, unit):
    for resource_place, resource in _resources(unit):
        made = {resource.keysAsText: resource_place + ("class",)}
        for field_place, field in _fields(resource_place, resource):
            place = field_place + ("key",)
            for name in field.operations:
                if name in OPERATIONS_OF_EVERY_ELEMENT:
                    document.refuse(place, f'the key "{field.key}" would hide "{name}", which every element has')
                if name in made:
                    line = document.lines[made[name]]
                    document.refuse(place, f'the key "{field.key}" generates "{name}", as line {line} does')
                made[name] = place


def refuse_references_to_later_resources(document, unit):
    classes = [resource.name for resource in unit.resources]
    for r, (resource_place, resource) in enumerate(_resources(unit)):
        for field_place, field in _fields(resource_place, resource):
            place = field_place + ("to",)
            if field.to is None or field.to in classes[:r]:
                continue
            if field.to == resource.name:
                document.refuse(place, f'the resource "{field.to}" refers to itself')
            reason = "is defined further down" if field.to in classes else "does not exist"
            document.refuse(place, f'the resource "{field.to}" {reason}')
