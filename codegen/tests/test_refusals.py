"""Tests that invalid models are refused with the line and the reason."""

import pathlib
import re
import shutil
import sys
import tempfile
import unittest

CODEGEN = pathlib.Path(__file__).resolve().parent.parent
ROOT = CODEGEN.parent
sys.path.insert(0, str(CODEGEN))
import model as sut  # noqa: E402
from document import BrokenModel  # noqa: E402

MODEL = """\
unit: Made
service: made
doc: A service.
messages:
  logger: kept
  endOfFill: silent
resources:
  - class: Part
    name: parts
    doc: A part.
    fields:
      - key: size
        kind: integer
        doc: How large it is.
  - class: Whole
    name: wholes
    doc: A whole.
    fields:
      - key: state
        kind: enumeration
        doc: How it is.
        literals: [good, bad]
      - key: part
        kind: reference
        to: Part
        doc: A part of it.
"""

GENERATED_HEADERS = ROOT / "kelo-client" / "generated" / "include" / "ZebDataObjects_ZEB"
PLATFORM_HEADERS = ROOT / "platform" / "access" / "include" / "zeb"
HEADER_OF_THE_SERVICE = PLATFORM_HEADERS / "Service.h"
HEADERS_OF_AN_ELEMENT = [
    GENERATED_HEADERS / "DataObject.h",
    PLATFORM_HEADERS / "IXObject.h",
    PLATFORM_HEADERS / "XObject.h",
    PLATFORM_HEADERS / "XObjectDescriptor.h",
]

KINDS = (
    "bool, integer, string, enumeration, list of strings, list of enumerations, reference, list of untyped references"
)
CLASS_NAME = "an uppercase letter followed by letters and digits"
BUS_NAME = "a letter followed by letters, digits, underscores and hyphens"
KEY = "a lowercase letter followed by letters and digits"
LITERAL = "a letter followed by letters, digits and underscores"
DOC = "a string that is not blank"
LIST = "must be a list with at least one entry"


def resource(name, *fields):
    lines = [f"  - class: {name}", f"    name: some{name}", "    doc: x", "    fields:"]
    for key, kind, rest in fields:
        lines += [f"      - key: {key}", f"        kind: {kind}", "        doc: x"] + [f"        {rest}"] * bool(rest)
    return "\n".join(lines) + "\n"


def enumeration(key, literals="[one]"):
    return key, "enumeration", f"literals: {literals}"


def integer(key):
    return key, "integer", ""


def reference(key, to):
    return key, "reference", f"to: {to}"


def made_of(*resources):
    return "unit: Made\nservice: made\ndoc: x\nresources:\n" + "".join(resources)


class Refusal(unittest.TestCase):
    def setUp(self):
        self.directory = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.directory)
        self.path = self.directory / "made.yaml"

    def load(self, text):
        self.path.write_bytes(text if isinstance(text, bytes) else text.encode("utf-8"))
        return sut.load(self.path)

    def assert_refused(self, text, line, reason):
        """`line` is a line number, or the beginning of exactly one line."""
        if isinstance(line, str):
            fitting = [i for i, each in enumerate(text.split("\n"), 1) if each.strip(" -").startswith(line)]
            self.assertEqual(len(fitting), 1, line)
            line = fitting[0]
        with self.assertRaises(BrokenModel) as refusal:
            self.load(text)
        self.assertEqual(str(refusal.exception), f"{self.path}:{line}: {reason}")

    def assert_rows_refused(self, *rows):
        """Each row has the text to replace in the model, its replacement, the line and the reason."""
        for old, new, line, reason in rows:
            with self.subTest(old=old, new=new):
                self.assertEqual(MODEL.count(old), 1)
                self.assert_refused(MODEL.replace(old, new), line, reason)

    def assert_accepted(self, text):
        try:
            self.load(text)
        except BrokenModel as error:
            self.fail(error)


class InvalidYaml(Refusal):
    def test_is_refused_on_the_line_of_the_error(self):
        for text, line, reason in (
            ("", 1, "the file is empty"),
            ("\n# nothing\n", 1, "the file is empty"),
            ("unit: [", 1, "expected the node content, but found '<stream end>'"),
            ("a: 1\nunit: [\n", 2, "expected the node content, but found '<stream end>'"),
            ("a: 1\nb: c: d\n", 2, "mapping values are not allowed here"),
            ("a: 1\n---\nb: 1\n", 2, "but found another document"),
            ("a: 1\nb: *x\n", 2, "found undefined alias 'x'"),
            ("a: 1\n\tb: 1\n", 2, "found character '\\t' that cannot start any token"),
            ('a: 1\nb: "\\UFFFFFFFF"\n', 2, "a number is too large"),
            ('a: 1\nb: "\\U00110000"\n', 2, "a number is too large"),
            ("a: 1\nb: 1\na: 2\n", 3, '"a" is given twice'),
            ("a:\n  b: 1\n  b: 2\n", 3, '"b" is given twice'),
            ("a: 1\n? [a, b]\n: 2\n", 2, "a property name must be a string"),
            ("a: 1\n? {a: b}\n: 2\n", 2, "a property name must be a string"),
            ("a: 1\nb: &x [good, *x]\n", 2, "the anchored value contains itself"),
            ("a: 1\nb: &x\n  c: *x\n", 2, "the anchored value contains itself"),
            ("a: 1\nb: &x\n- - *x\n", 2, "the anchored value contains itself"),
            ("a: 1\nb:\n  " + "[" * 21 + "]" * 21, 3, "the nesting is too deep"),
            ("a: 1\nb:\n  " + "[" * 20 + "]" * 20, 1, 'unknown property "a"'),
            ("a: 1\nb: " + "[" * 5000, 2, "the nesting is too deep"),
        ):
            with self.subTest(text[:40]):
                self.assert_refused(text, line, reason)

    def test_is_refused_on_the_line_of_the_byte_or_character(self):
        for data, line, reason in (
            (b"\n\xff\n", 2, "the byte 0xff is not valid UTF-8"),
            (b"\n\0\n", 2, "the character U+0000 is not printable"),
            (b"a: \xff\n", 1, "the byte 0xff is not valid UTF-8"),
            (b"a: 1\nb: 1\nc: \xe4\nd: 1\n", 3, "the byte 0xe4 is not valid UTF-8"),
            (b"a: 1\nb: 1\nc: \xc3", 3, "the byte 0xc3 is not valid UTF-8"),
            (b"a: 1\nb: \0\nc: 1\n", 2, "the character U+0000 is not printable"),
            (b"a: 1\r\nb: 1\r\nc: \x07\r\n", 3, "the character U+0007 is not printable"),
            (b"a: 1\nb: 1\rc: 1\n", 2, "the character U+000D is not printable"),
            ("a: 1\n# \u2028\n".encode(), 2, "the character U+2028 is not printable"),
            ("a: 1\nb: \u200b1\n".encode(), 2, "the character U+200B is not printable"),
            ("a: 1\n\n\u00a0b: 1\n".encode(), 3, "the character U+00A0 is not printable"),
        ):
            with self.subTest(data):
                self.assert_refused(data, line, reason)

    def test_does_not_include_harmless_traces_of_editors(self):
        for name, text in (
            ("carriage returns", MODEL.replace("\n", "\r\n")),
            ("a byte order mark", "\ufeff" + MODEL),
            ("a tab", MODEL.replace("A part.", '"A\tpart."')),
            ("other scripts", MODEL.replace("A part.", "Größe, 大きさ.")),
            ("no newline at the end", MODEL.rstrip()),
        ):
            with self.subTest(name):
                self.assert_accepted(text)

    def test_has_the_right_line_after_carriage_returns(self):
        text = MODEL.replace("good", "new").replace("\n", "\r\n")
        self.assert_refused(text, 22, 'the literal "new" is a reserved word of C++')


class AMissingProperty(Refusal):
    def test_is_named(self):
        self.assert_rows_refused(
            ("unit: Made\n", "", 1, '"unit" is missing'),
            ("service: made\n", "", 1, '"service" is missing'),
            ("doc: A service.\n", "", 1, '"doc" is missing'),
            (MODEL[MODEL.index("resources:"):], "", 1, '"resources" is missing'),
            ("class: Part\n    ", "", "name: parts", '"class" is missing'),
            ("    name: parts\n", "", "class: Part", '"name" is missing'),
            ("    doc: A part.\n", "", "class: Part", '"doc" is missing'),
            (MODEL[MODEL.index("    fields:\n      - key: state"):], "", "class: Whole", '"fields" is missing'),
            ("key: size\n        ", "", "kind: integer", '"key" is missing'),
            ("        kind: integer\n", "", "key: size", '"kind" is missing'),
            ("        doc: How large it is.\n", "", "key: size", '"doc" is missing'),
            ("        kind: enumeration\n", "", "key: state", '"kind" is missing'),
            ("        kind: reference\n", "", "key: part", '"kind" is missing'),
            ("        literals: [good, bad]\n", "", "key: state", '"literals" is missing'),
            ("        to: Part\n", "", "key: part", '"to" is missing'),
        )

    def test_is_accepted_in_the_messages(self):
        for part in ("messages:\n  logger: kept\n  endOfFill: silent\n", "  logger: kept\n", "  endOfFill: silent\n"):
            with self.subTest(part):
                self.assert_accepted(MODEL.replace(part, ""))


class AnUnknownProperty(Refusal):
    def test_is_named_at_every_level(self):
        self.assert_rows_refused(
            ("unit: Made", "unit: Made\nextra: 1", "extra", 'unknown property "extra"'),
            ("  logger: kept", "  extra: 1", "extra", 'unknown property "extra"'),
            ("    name: parts", "    name: parts\n    extra: 1", "extra", 'unknown property "extra"'),
            ("        kind: integer", "        kind: integer\n        extra: 1", "extra", 'unknown property "extra"'),
            ("unit: Made", 'unit: Made\n"a\\nb": 1', '"a', 'unknown property "a\\nb"'),
        )

    def test_is_named_rather_than_the_missing_one(self):
        self.assert_rows_refused(
            ("    kind: integer", "    kin: integer", 13, 'unknown property "kin"'),
            ("service: made", "srevice: made", "srevice", 'unknown property "srevice"'),
        )


class AWrongType(Refusal):
    def test_of_the_model_is_refused(self):
        for text in ("- a\n", "a\n"):
            with self.subTest(text):
                self.assert_refused(text, 1, "the model must be a mapping")

    def test_of_a_property_is_refused(self):
        messages = "  logger: kept\n  endOfFill: silent\n"
        resources = MODEL[MODEL.index("resources:"):]
        fields = MODEL[MODEL.index("    fields:\n      - key: state"):]
        self.assert_rows_refused(
            ("unit: Made", "unit: [a]", "unit", '"unit" must be a string'),
            ("service: made", "service: {a: b}", "service", '"service" must be a string'),
            ("doc: A service.", "doc: [a]", "doc: [", '"doc" must be a string'),
            ("doc: A part.", "doc: [a]", "doc: [", '"doc" must be a string'),
            ("doc: How it is.", "doc: [a]", "doc: [", '"doc" must be a string'),
            ("class: Part", "class: [a]", "class: [", '"class" must be a string'),
            ("name: parts", "name: [a]", "name: [", '"name" must be a string'),
            ("key: size", "key: [a]", "key: [", '"key" must be a string'),
            ("kind: integer", "kind: [a]", "kind: [", '"kind" must be a string'),
            ("to: Part", "to: [a]", "to: [", '"to" must be a string'),
            ("logger: kept", "logger: [a]", "logger", '"logger" must be a string'),
            ("endOfFill: silent", "endOfFill: {}", "endOfFill", '"endOfFill" must be a string'),
            (messages, "  a\n", "messages", '"messages" must be a mapping'),
            (resources, "resources: a\n", "resources", f'"resources" {LIST}'),
            (resources, "resources: {}\n", "resources", f'"resources" {LIST}'),
            (resources, "resources: []\n", "resources", f'"resources" {LIST}'),
            (resources, "resources:\n", "resources", f'"resources" {LIST}'),
            (resources, "resources:\n  - a\n", "a", 'entry 1 of "resources" must be a mapping'),
            (fields, "    fields: a\n", "fields: a", f'"fields" {LIST}'),
            (fields, "    fields: []\n", "fields: [", f'"fields" {LIST}'),
            (fields, "    fields:\n      - [a]\n", "[a]", 'entry 1 of "fields" must be a mapping'),
            ("[good, bad]", "good", "literals", f'"literals" {LIST}'),
            ("[good, bad]", "''", "literals", f'"literals" {LIST}'),
            ("[good, bad]", "[]", "literals", f'"literals" {LIST}'),
            ("[good, bad]", "\n          - good\n          - [bad]", "[bad]", 'entry 2 of "literals" must be a string'),
        )


class AText(Refusal):
    def test_of_the_wrong_form_is_refused(self):
        for name, old, form, wrong in (
            ("unit", "Made", CLASS_NAME, ("", "made", "1Made", "Ma-de", "Ma_de", "../Made", "Mä", "Made ", "Made\n")),
            ("service", "made", BUS_NAME, ("", "1made", "-made", "ma/de", "ma de", "made\n")),
            ("class", "Part", CLASS_NAME, ("", "part", "Par-t", "Part\n", "\nPart")),
            ("name", "parts", BUS_NAME, ("", "1parts", "_parts", "par/ts", "parts\n")),
            ("key", "size", KEY, ("", "Size", "1size", "si_ze", "size\n")),
            ("to", "Part", CLASS_NAME, ("", "part", "Part\n")),
        ):
            for text in wrong:
                shown = text.replace("\n", "\\n")
                with self.subTest(name=name, text=text):
                    new = f'{name}: "{shown}"'
                    reason = f'"{shown}" must be {form}'
                    self.assert_rows_refused((f"{name}: {old}\n", new + "\n", new, reason))

    def test_of_the_wrong_form_is_refused_as_a_literal(self):
        for text in ("", "1good", "_good", "go-od", "go od", "gööd", "good\\n"):
            with self.subTest(text):
                self.assert_rows_refused(("[good, ", f'["{text}", ', "literals", f'"{text}" must be {LITERAL}'))

    def test_of_a_doc_must_not_be_blank(self):
        for doc in ("A service.", "A part.", "How it is."):
            for blank in ("", '""', '"  "', '"\\n \\t"'):
                text = blank.strip('"')
                with self.subTest(doc=doc, blank=blank):
                    line = MODEL[:MODEL.index(doc)].count("\n") + 1
                    self.assert_rows_refused((f"doc: {doc}", f"doc: {blank}", line, f'"{text}" must be {DOC}'))

    def test_of_the_right_form_is_accepted(self):
        for old, new in (
            ("unit: Made", "unit: M"),
            ("unit: Made", "unit: Z"),
            ("unit: Made", "unit: MadeUp2ZZ9"),
            ("service: made", "service: A"),
            ("service: made", "service: Z"),
            ("service: made", "service: a"),
            ("service: made", "service: z"),
            ("service: made", "service: made-Up_2-"),
            ("class: Whole", "class: W"),
            ("class: Whole", "class: W2holeZ9"),
            ("name: parts", "name: P-_9zZ"),
            ("key: size", "key: a"),
            ("key: size", "key: z"),
            ("key: size", "key: s2izeZz9A"),
            ("[good, bad]", "[a, z, A, Z, G_0zZ9_aA, null, 'on']"),
            ("doc: A part.", "doc: x"),
        ):
            with self.subTest(new):
                self.assertIn(old, MODEL)
                self.assert_accepted(MODEL.replace(old, new))

    def test_outside_its_choices_is_refused(self):
        self.assert_rows_refused(
            ("logger: kept", "logger: perhaps", "logger", '"perhaps" must be one of: perMessage, kept'),
            ("logger: kept", "logger: Kept", "logger", '"Kept" must be one of: perMessage, kept'),
            ("endOfFill: silent", "endOfFill: loud", "endOfFill", '"loud" must be one of: silent, reported'),
            ("kind: integer", "kind: float", "kind: float", f'"float" must be one of: {KINDS}'),
            ("kind: integer", 'kind: "bool\\n"', "kind: \"", f'"bool\\n" must be one of: {KINDS}'),
            ("kind: enumeration", "kind: enumeratoin", "kind: enumeratoin", f'"enumeratoin" must be one of: {KINDS}'),
        )

    def test_within_its_choices_is_accepted(self):
        for old, new in (("kept", "kept"), ("kept", "perMessage"), ("silent", "silent"), ("silent", "reported")):
            with self.subTest(new):
                self.assert_accepted(MODEL.replace(old, new))


class APropertyOfAnotherKind(Refusal):
    WITH_LITERALS = ("enumeration", "list of enumerations")

    def test_is_refused(self):
        for kind in KINDS.split(", "):
            if kind not in self.WITH_LITERALS:
                rest = "to: Part\n        literals: [a]" if kind == "reference" else "literals: [a]"
                with self.subTest(kind=kind, property="literals"):
                    text = made_of(resource("Part", integer("size")), resource("Whole", ("part", kind, rest)))
                    self.assert_refused(text, "literals", '"literals" is not allowed for this kind')
                rest = rest.replace("literals: [a]", "enumeration: a")
                with self.subTest(kind=kind, property="enumeration"):
                    text = made_of(resource("Part", integer("size")), resource("Whole", ("part", kind, rest)))
                    self.assert_refused(text, "enumeration", '"enumeration" is not allowed for this kind')
            if kind != "reference":
                rest = "literals: [a]\n        to: Part" if kind in self.WITH_LITERALS else "to: Part"
                with self.subTest(kind=kind, property="to"):
                    text = made_of(resource("Part", integer("size")), resource("Whole", ("part", kind, rest)))
                    self.assert_refused(text, "to", '"to" is not allowed for this kind')

    def test_is_required_by_its_own_kind(self):
        for kind, name in (("enumeration", "literals"), ("list of enumerations", "literals"), ("reference", "to")):
            with self.subTest(kind):
                self.assert_refused(made_of(resource("Whole", ("part", kind, ""))), "key", f'"{name}" is missing')

    def test_is_not_required_by_the_others(self):
        for kind in ("bool", "integer", "string", "list of strings", "list of untyped references"):
            with self.subTest(kind):
                self.assert_accepted(made_of(resource("Whole", ("part", kind, ""))))


class ADoc(Refusal):
    def test_that_would_break_its_comment_is_refused(self):
        self.assert_rows_refused(
            ("doc: A service.", "doc: A service.\\", "doc: A service.", 'a "doc" must not contain \\'),
            ("doc: A part.", "doc: A \\ part.", "doc: A \\", 'a "doc" must not contain \\'),
            ("doc: How it is.", "doc: How??/", "doc: How??/", 'a "doc" must not contain ??/'),
            ("doc: A part.", 'doc: "A\\0 part."', 'doc: "', 'a "doc" must not contain the character U+0000'),
            ("doc: A part.", 'doc: "A \\u202e part."', 'doc: "', 'a "doc" must not contain the character U+202E'),
            ("doc: A part.", 'doc: "A \\ud800 part."', 'doc: "', 'a "doc" must not contain the character U+D800'),
        )

    def test_of_an_enumeration_is_one_as_well(self):
        literals = "        literals: [good, bad]\n"
        for text, reason in (
            ("a\\", 'a "enumeration" must not contain \\'),
            ("a??/", 'a "enumeration" must not contain ??/'),
            ('"\\0"', 'a "enumeration" must not contain the character U+0000'),
            ('" "', f'" " must be {DOC}'),
            ("[a]", '"enumeration" must be a string'),
        ):
            with self.subTest(text):
                self.assert_rows_refused((literals, f"{literals}        enumeration: {text}\n", 23, reason))
        self.assert_accepted(MODEL.replace(literals, f"{literals}        enumeration: What it can be.\n"))

    def test_may_contain_everything_else(self):
        for text in ("a */ b", "/* a", "// a", "what??", "a?/", "/", "'\"'", '"a\\nb\\u00a0c"'):
            with self.subTest(text):
                self.assert_accepted(MODEL.replace("A part.", text))


# The keywords of C++ up to C++20, and those of the GNU dialect.
KEYWORDS = """
    alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t char32_t class compl
    concept const consteval constexpr constinit const_cast continue co_await co_return co_yield decltype default delete
    do double dynamic_cast else enum explicit export extern false float for friend goto if inline int long mutable
    namespace new noexcept not not_eq nullptr operator or or_eq private protected public register reinterpret_cast
    requires return short signed sizeof static static_assert static_cast struct switch template this thread_local throw
    true try typedef typeid typename typeof union unsigned using virtual void volatile wchar_t while xor xor_eq
""".split()

# Samples from the language, the GNU dialect, the library, the operating system and this project.
MACRO_NAMES = """
    BIG_ENDIAN BUFSIZ CLAMPCONTROL_EXPORT CLOCK_MONOTONIC EINVAL EOF HUGE_VAL INFINITY INT64_MAX NAN NULL PRId64
    RAND_MAX SEEK_SET SIGTERM SIZE_MAX WNOHANG ZEB_EXPORT errno linux stderr stdin stdout unix
""".split()


class AReservedName(Refusal):
    def test_is_refused_as_a_literal_when_it_is_a_keyword(self):
        for word in KEYWORDS:
            with self.subTest(word):
                self.assert_rows_refused(
                    (", bad]", f", {word}]", "literals", f'the literal "{word}" is a reserved word of C++')
                )

    def test_is_refused_as_a_key_when_it_is_a_keyword(self):
        for word in KEYWORDS:
            if "_" not in word:
                with self.subTest(word):
                    self.assert_rows_refused(
                        ("key: size", f"key: {word}", f"key: {word}", f'the key "{word}" is a reserved word of C++')
                    )

    def test_is_refused_as_a_literal_when_it_is_a_macro(self):
        for name in MACRO_NAMES:
            with self.subTest(name):
                self.assert_rows_refused(
                    ("good, ", f"good, {name}, ", "literals", f'the literal "{name}" is a macro in a header')
                )

    def test_is_refused_wherever_it_becomes_an_identifier(self):
        self.assert_rows_refused(
            ("key: size", "key: errno", "key: errno", 'the key "errno" is a macro in a header'),
            ("key: size", "key: linux", "key: linux", 'the key "linux" is a macro in a header'),
            ("class: Whole", "class: EOF", "class: EOF", 'the class "EOF" is a macro in a header'),
            ("class: Whole", "class: EINVAL", "class: EINVAL", 'the class "EINVAL" is a macro in a header'),
            (", bad]", ", b__ad]", "literals", 'the literal "b__ad" contains a double underscore, which C++ reserves'),
            (", bad]", ", bad__]", "literals", 'the literal "bad__" contains a double underscore, which C++ reserves'),
        )

    def test_is_refused_as_the_enumeration_of_a_class_and_a_key(self):
        for name, key, macro in (
            ("Rand", "max", "RAND_MAX"),
            ("Int", "max", "INT_MAX"),
            ("Int64", "max", "INT64_MAX"),
            ("Huge", "val", "HUGE_VAL"),
            ("Seek", "set", "SEEK_SET"),
        ):
            with self.subTest(macro):
                text = made_of(resource(name, enumeration(key)))
                self.assert_refused(text, "key", f'the enumeration "{macro}" is a macro in a header')
                self.assert_accepted(made_of(resource(name, integer(key))))

    def test_is_not_a_similar_name(self):
        for literals in ("[assert, isnan, module, final]", "[New, Class, eof, Errno]", "[bad_, b_a_d]"):
            with self.subTest(literals):
                self.assert_accepted(MODEL.replace("[good, bad]", literals))

    def test_is_every_name_in_the_list(self):
        lines = (CODEGEN / "reserved-macros.txt").read_text().splitlines()
        names = [name for line in lines if not line.startswith("#") for name in line.split()]
        self.assertEqual(names, sorted(set(names)))
        self.assertGreater(len(names), 900)
        for name in names:
            with self.subTest(name):
                text = made_of(resource("Whole", enumeration("state", f"[{name}]")))
                self.assert_refused(text, "literals", f'the literal "{name}" is a macro in a header')


class ADuplicate(Refusal):
    def test_is_refused(self):
        self.assert_rows_refused(
            ("name: wholes", "name: parts", 16, 'duplicate resource "parts"'),
            ("key: part", "key: state", 23, 'duplicate key "state"'),
            ("[good, bad]", "[good, good]", 22, 'duplicate literal "good"'),
            ("class: Whole", "class: Part", 15, 'the name "Part" is already generated for line 8'),
            ("class: Whole", "class: PartDescriptor", 15, 'the name "PartDescriptor" is already generated for line 8'),
            ("class: Whole", "class: PART", 15, 'the name "PART_FIELDS" is already generated for line 8'),
            ("key: state", "key: fields", 19, 'the name "WHOLE_FIELDS" is already generated for line 15'),
            ("key: state", "key: fIelds", 19, 'the name "WHOLE_FIELDS" is already generated for line 15'),
        )

    def test_is_accepted_in_another_resource_or_enumeration(self):
        first = resource("A", enumeration("c"), enumeration("d"))
        self.assert_accepted(made_of(first, resource("B", enumeration("c"))))

    def test_is_refused_when_keys_of_enumerations_differ_only_in_case(self):
        text = made_of(resource("Whole", enumeration("state"), enumeration("sTATE")))
        self.assert_refused(text, "key: sTATE", 'the name "WHOLE_STATE" is already generated for line 9')
        self.assert_accepted(made_of(resource("Whole", enumeration("state"), integer("sTATE"))))

    def test_of_a_descriptor_is_refused_in_either_order(self):
        for first, second in (("Part", "PartDescriptor"), ("PartDescriptor", "Part")):
            with self.subTest(first):
                text = made_of(resource(first, integer("a")), resource(second, integer("a")))
                self.assert_refused(text, 12, 'the name "PartDescriptor" is already generated for line 5')


class Tables(Refusal):
    def test_with_the_same_name_are_refused(self):
        listed = ("bC", "list of enumerations", "literals: [x]")
        for first, second, line, name, other_line in (
            (resource("A", enumeration("bC")), resource("AB", enumeration("c")), "key: c", "mapABC2String", 9),
            (resource("AB", enumeration("c")), resource("A", enumeration("bC")), "key: bC", "mapABC2String", 9),
            (resource("A", listed), resource("AB", enumeration("c")), "key: c", "mapABC2String", 9),
            (resource("A", enumeration("bFields")), resource("AB", integer("c")), "class: AB", "mapABFields2String", 9),
            (resource("AB", integer("c")), resource("A", enumeration("bFields")), "key: bF", "mapABFields2String", 5),
            # One resource's table to text and the other's table from text.
            (resource("String2A", enumeration("b")), resource("A", enumeration("b2String")), "key: b2",
             "mapString2AB2String", 9),
            (resource("A", enumeration("b2String")), resource("String2A", enumeration("b")), 17,
             "mapString2AB2String", 9),
        ):
            with self.subTest(first + second):
                reason = f'the name "{name}" is already generated for line {other_line}'
                self.assert_refused(made_of(first, second), line, reason)

    def test_that_are_not_generated_reserve_no_name(self):
        for first, second in (
            (resource("A", integer("bC")), resource("AB", enumeration("c"))),
            (resource("A", enumeration("bC")), resource("AB", integer("c"))),
            (resource("A", integer("bFields")), resource("AB", integer("c"))),
            (resource("A", integer("fields")), resource("B", integer("c"))),
        ):
            with self.subTest(first + second):
                self.assert_accepted(made_of(first, second))


class Operations(Refusal):
    def test_with_the_same_name_are_refused(self):
        for kind in ("bool", "integer", "string"):
            for keys, reason in (
                (("size", "sizeAsString"), 'the key "sizeAsString" generates "getSizeAsString", as line 9 does'),
                (("sizeAsString", "size"), 'the key "size" generates "getSizeAsString", as line 9 does'),
            ):
                with self.subTest(kind=kind, keys=keys):
                    text = made_of(resource("Whole", *((key, kind, "") for key in keys)))
                    self.assert_refused(text, 12, reason)

    def test_that_are_not_generated_reserve_no_name(self):
        for first in (enumeration("size"), ("size", "list of strings", ""), ("size", "list of untyped references", "")):
            with self.subTest(first):
                self.assert_accepted(made_of(resource("Whole", first, integer("sizeAsString"))))

    def test_named_like_the_conversion_of_keys_are_refused(self):
        text = made_of(resource("Whole", integer("wholeVectorAsStringVector")))
        name = "getWholeVectorAsStringVector"
        self.assert_refused(text, "key", f'the key "wholeVectorAsStringVector" generates "{name}", as line 5 does')
        self.assert_accepted(made_of(resource("Whole", integer("partVectorAsStringVector"))))

    def test_of_the_base_classes_are_not_hidden(self):
        text = "".join(header.read_text() for header in HEADERS_OF_AN_ELEMENT)
        # Names after a dot or a colon are calls.
        operations = set(re.findall(r"(?<![.:>\w])([gs]et[A-Z]\w*)\(", text))
        self.assertIn("getAsReference", operations)
        for operation in sorted(operations):
            key = operation[3].lower() + operation[4:]
            with self.subTest(operation):
                # The getter is checked before the setter.
                hidden = operation.replace("set", "get", 1) if f"get{operation[3:]}" in operations else operation
                reason = f'the key "{key}" would hide "{hidden}", which every element has'
                self.assert_rows_refused(("key: size", f"key: {key}", f"key: {key}", reason))

    def test_of_the_base_classes_cannot_be_hidden_by_a_key(self):
        for key, operation in (
            ("id", "getId"),
            ("name", "getName"),
            ("uri", "getUri"),
            ("asString", "getAsString"),
            ("descriptor", "getDescriptor"),
            ("idFromUri", "setIdFromUri"),
            ("queryOptionsLimit", "setQueryOptionsLimit"),
            ("resourceName", "getResourceName"),
            ("vectorAsStringVector", "getVectorAsStringVector"),
        ):
            with self.subTest(key):
                text = made_of(resource("Whole", integer("size"), integer(key)))
                reason = f'the key "{key}" would hide "{operation}", which every element has'
                self.assert_refused(text, f"key: {key}", reason)


class AClass(Refusal):
    def test_with_a_name_that_the_generated_code_uses_is_refused(self):
        for name in (
            "DataObject Desctype EnumerationTexts IXObject Literals MadeService Optional Resource ResourceDescriptor "
            "Service SortKeys Visit XObject XObjectDescriptor"
        ).split():
            with self.subTest(name):
                reason = f'the name "{name}" is used by the generated code'
                self.assert_rows_refused(("class: Part", f"class: {name}", f"class: {name}", reason))

    def test_with_an_enumeration_of_the_base_classes_is_refused(self):
        text = made_of(resource("Expand", enumeration("level")))
        self.assert_refused(text, "key", 'the name "EXPAND_LEVEL" is used by the generated code')
        self.assert_accepted(made_of(resource("Expand", integer("level"))))

    def test_with_the_name_of_a_type_of_the_base_classes_is_refused(self):
        text = "".join(header.read_text() for header in [*HEADERS_OF_AN_ELEMENT, HEADER_OF_THE_SERVICE])
        types = re.findall(r"^    using (\w+) =|^class \w+_EXPORT (\w+)", text, re.MULTILINE)
        names = {name for pair in types for name in pair if re.fullmatch("[A-Z][A-Za-z0-9]*", name)}
        self.assertLessEqual({"SortKeys", "XObject", "Desctype", "Service"}, names)
        for name in sorted(names):
            with self.subTest(name):
                reason = f'the name "{name}" is used by the generated code'
                self.assert_rows_refused(("class: Whole", f"class: {name}", f"class: {name}", reason))

    def test_may_have_any_other_name(self):
        for name in ("Field", "Kind", "Tables", "UnitMessages", "OPTIONAL", "Services", "Made", "PARTDESCRIPTOR"):
            with self.subTest(name):
                self.assert_accepted(MODEL.replace("class: Whole", f"class: {name}"))


class TheLine(Refusal):
    """A refusal names the line of the error, not the line of the resource or field that contains it."""

    MODEL = """\
unit: Made
service: made
doc: x
resources:
  - doc: x
    name: parts
    class: Part
    fields:
      - doc: x
        kind: integer
        key: size
  - doc: x
    name: wholes
    class: Whole
    fields:
      - kind: enumeration
        doc: x
        literals:
          - good
          - bad
        key: state
      - kind: reference
        doc: x
        to: Part
        key: part
"""

    def test_is_that_of_the_error(self):
        for line, old, new, reason in (
            (5, "  - doc: x\n    name: parts", '  - doc: "\\\\"\n    name: parts', 'a "doc" must not contain \\'),
            (7, "class: Part", "class: EOF", 'the class "EOF" is a macro in a header'),
            (7, "class: Part", "class: Visit", 'the name "Visit" is used by the generated code'),
            (11, "key: size", "key: new", 'the key "new" is a reserved word of C++'),
            (11, "key: size", "key: uri", 'the key "uri" would hide "getUri", which every element has'),
            (11, "key: size", "key: partVectorAsStringVector",
             'the key "partVectorAsStringVector" generates "getPartVectorAsStringVector", as line 7 does'),
            (13, "name: wholes", "name: parts", 'duplicate resource "parts"'),
            (14, "class: Whole", "class: Part", 'the name "Part" is already generated for line 7'),
            (20, "- bad", "- good", 'duplicate literal "good"'),
            (20, "- bad", "- new", 'the literal "new" is a reserved word of C++'),
            (20, "- bad", "- be-ad", f'"be-ad" must be {LITERAL}'),
            (20, "- bad", "- [bad]", 'entry 2 of "literals" must be a string'),
            (21, "key: state", "key: fields", 'the name "WHOLE_FIELDS" is already generated for line 14'),
            (24, "to: Part", "to: Whole", 'the resource "Whole" refers to itself'),
            (25, "key: part", "key: state", 'duplicate key "state"'),
        ):
            with self.subTest(new):
                self.assertEqual(self.MODEL.count(old), 1)
                self.assert_refused(self.MODEL.replace(old, new), line, reason)

    def test_is_that_of_the_key_of_an_enumeration(self):
        text = self.MODEL.replace("class: Whole", "class: Rand").replace("key: state", "key: max")
        self.assert_refused(text, 21, 'the enumeration "RAND_MAX" is a macro in a header')


class AReference(Refusal):
    def test_to_anything_but_an_earlier_resource_is_refused(self):
        self.assert_rows_refused(
            ("to: Part", "to: Nothing", "to", 'the resource "Nothing" does not exist'),
            ("to: Part", "to: Whole", "to", 'the resource "Whole" refers to itself'),
            ("to: Part", "to: PartDescriptor", "to", 'the resource "PartDescriptor" does not exist'),
        )
        text = made_of(resource("Whole", reference("part", "Part")), resource("Part", integer("size")))
        self.assert_refused(text, "to", 'the resource "Part" is defined further down')

    def test_to_any_earlier_resource_is_accepted(self):
        parts = [resource(name, integer("size")) for name in ("A", "B", "C")]
        self.assert_accepted(made_of(*parts, resource("Whole", reference("b", "B"), reference("a", "A"))))


if __name__ == "__main__":
    unittest.main()
