"""Writes the round-trip tests of a service from its model.

usage: generate_round_trip.py MODEL OUTPUT

Reads the model by itself: what it shares with the generator of the units is the model and nothing else.
"""

import json
import pathlib
import sys

import yaml

SCALARS = ("bool", "integer", "string")


def capitalised(text):
    return text[0].upper() + text[1:]


def reference(field):
    number = str(field["position"] + 4)
    return {"id": number, "name": f"the {field['key']}", "uri": f"/servicemanagement/others/{number}"}


def boolean(value):
    return "true" if value else "false"


def sample(field):
    """A valid value of the field as JSON, in C++ (in the descriptor's scope), and as the text of a filter term.

    Values of fields of the same C++ type differ, so that none can be mistaken for another. For booleans see
    booleans_test.
    """
    kind = field["kind"]
    if kind == "bool":
        value = field["position"] % 2 == 0
        return value, boolean(value), boolean(value)
    if kind == "integer":
        # Odd and beyond 53 bits: a floating-point number cannot represent them.
        number = -9007199254740993 - 2 * field["position"]
        return number, str(number), str(number)
    if kind == "string":
        text = f"the {field['key']}"
        return text, f'"{text}"', text
    if kind == "enumeration":
        literal = field["literals"][-1]
        return literal, f"Service::{field['enumeration']}::{literal}", literal
    if kind == "list of strings":
        values = [f"a {field['key']}", "", f"a {field['key']}"]
        return values, f"std::vector<std::string>{texts(values)}", compact(values)
    if kind == "list of enumerations":
        literals = list(reversed(field["literals"])) + [field["literals"][-1]]
        values = ", ".join(f"Service::{field['enumeration']}::{literal}" for literal in literals)
        return literals, f"std::vector<Service::{field['enumeration']}>{{{values}}}", compact(literals)
    if kind == "reference":
        element = reference(field)
        return element, f"Service::{field['to']}(zebutil::JsonObject::parse({json_literal(element)}))", element["uri"]
    if kind == "list of untyped references":
        element = reference(field)
        return [element, element], "elements", compact([element["uri"], element["uri"]])
    raise SystemExit(f"no sample of the kind {kind}")


def compact(value):
    return json.dumps(value, separators=(",", ":"))


def raw_string(text):
    return f'R"json({text})json"'


def json_literal(value):
    return raw_string(compact(value))


def prepare(model):
    for resource in model["resources"]:
        positions = {}
        for field in resource["fields"]:
            field["name"] = capitalised(field["key"])
            # The position among the fields of its kind.
            field["position"] = positions.setdefault(field["kind"], 0)
            positions[field["kind"]] += 1
            if "literals" in field:
                field["enumeration"] = f"{resource['class']}_{field['key']}".upper()


def texts(values):
    return "{" + ", ".join(f'"{value}"' for value in values) + "}"


def literals_test(resource, enumeration, table, literals, is_printed):
    name = f"{resource}{table}"
    lines = [
        f"TEST({name}, MapsBothWays) {{",
        f"    expectLiterals<Service>({texts(literals)}, Service::map{table}2String, Service::mapString2{table});",
        "}",
    ]
    if is_printed:
        lines += [
            f"TEST({name}, IsPrinted) {{",
            f"    expectPrinted<Service, Service::{enumeration}>({texts(literals)});",
            "}",
        ]
    else:
        lines += [
            f"TEST({name}, IsNotPrinted) {{",
            f"    EXPECT_FALSE(canBeCalledWith<Service::{enumeration}>(",
            "        [](auto value) -> decltype(Service::to_string(value)) { return Service::to_string(value); }));",
            f"    EXPECT_FALSE(canBeCalledWith<Service::{enumeration}>(",
            "        [](auto value) -> decltype(to_string(value)) { return to_string(value); }));",
            "}",
        ]
    return lines


def booleans_test(suite, object_type, resource):
    """Each boolean in turn has the opposite value while the others keep theirs."""
    fields = [field for field in resource["fields"] if field["kind"] == "bool"]
    if not fields:
        return []
    lines = [f"TEST_F({suite}, TellsItsBooleansApart) {{"]
    for changed in fields:
        other = boolean(not sample(changed)[0])
        lines += ["    {", f'        const {object_type} sut = objectOf(document("{changed["key"]}", "{other}"));']
        for field in fields:
            value = boolean(sample(field)[0] != (field is changed))
            lines += [
                f"        EXPECT_EQ(sut.get{field['name']}().getValue(), {value});",
                f"        EXPECT_EQ(sut.get{field['name']}AsString().getValue(), \"{value}\");",
            ]
        lines += ["    }"]
    return lines + ["}"]


def no_texts_test(suite, object_type, resource):
    """Only booleans, integers and strings have a getter for their text."""
    names = [field["name"] for field in resource["fields"] if field["kind"] not in SCALARS]
    lines = [f"TEST_F({suite}, GivesNoTextOfOtherFields) {{"]
    for name in [*names, "Id", "Name", "Uri"]:
        getter = f"get{name}AsString()"
        lines += [
            f"    EXPECT_FALSE(canBeCalledWith<{object_type}>(",
            f"        [](const auto& sut) -> decltype(sut.{getter}) {{ return sut.{getter}; }})) << \"{name}\";",
        ]
    return lines + ["}"]


def resource_tests(model, resource):
    name = resource["class"]
    unit = model["unit"]
    suite = f"{unit}{name}"
    object_type = f"Service::{name}"
    report = model.get("messages", {}).get("endOfFill", "silent") == "reported"
    end_of_fill = "could not fill object from json, exception occured" if report else ""
    keys = [field["key"] for field in resource["fields"]] + ["id", "name", "uri"]

    lines = [
        f"class {suite} : public RoundTrip<{object_type}> {{",
        " protected:",
        f'    {suite}() : RoundTrip("{unit}", "{end_of_fill}", {{',
    ]
    for field in resource["fields"]:
        value, code, term = sample(field)
        if field["kind"] == "list of untyped references":
            body = (
                "std::vector<zeb::XObject<zeb::XObjectDescriptor>> elements(2, "
                f"zeb::XObject<zeb::XObjectDescriptor>(zebutil::JsonObject::parse({json_literal(reference(field))}))); "
                f"d.set{field['name']}(elements);"
            )
        else:
            body = f"d.set{field['name']}({code});"
        lines += [
            f'        {{"{field["key"]}", "{field["kind"]}", {json_literal(value)},',
            f"         [](const {object_type}& o) {{ return o.get{field['name']}().hasValue(); }},",
            f"         [](Service::{name}Descriptor& d) {{ {body} }},",
            f"         {raw_string(term)}, {texts(field.get('literals', []))}}},",
        ]
    lines += ["    }) {}", "};"]

    lines += [f"TEST_F({suite}, HasItsNames) {{"]
    lines += [
        f'    EXPECT_EQ({object_type}::getServiceName(), "{model["service"]}");',
        f'    EXPECT_EQ({object_type}::getResourceName(), "{resource["name"]}");',
        f'    EXPECT_EQ(Service::{name}Descriptor().getServiceName(), "{model["service"]}");',
        f'    EXPECT_EQ(Service::{name}Descriptor().getResourceName(), "{resource["name"]}");',
        "}",
    ]
    for test, call in (
        ("FillsEveryField", "expectEveryFieldIsFilled"),
        ("GivesTheDocumentBack", "expectTheDocumentIsGivenBack"),
        ("WritesItsFieldsIntoABody", "expectTheBodyHasTheFieldsOnly"),
        ("FillsAFieldFromItsKeyAlone", "expectEachKeyAloneFillsItsFieldAlone"),
        ("LosesToOddValuesWhatItMay", "expectOddValuesCostWhatTheyMay"),
        ("WritesOddValuesAsWhatItTakesThemFor", "expectOddValuesToBeWrittenAsWhatTheyAreTakenFor"),
        ("KeepsItsValuesWhenLaterOnesCannotBeRead", "expectLaterValuesThatCannotBeReadChangeNothing"),
        ("MakesAFilterTermPerSetter", "expectEachSetterMakesItsFilterTerm"),
        ("ReadsWhatItsSettersMade", "expectWhatSettersMadeIsReadBack"),
        ("IsCopiedThroughItsBaseAsItsOwnClass", "expectACopyThroughTheBaseIsOfTheSameResource"),
        ("HasAnIdentityWithoutItsFields", "expectTheIdentityHasNoFields"),
        ("IsPrintedAsJson", "expectItIsPrintedAsJson"),
    ):
        lines += [f"TEST_F({suite}, {test}) {{ {call}(); }}"]

    lines += [
        f"TEST_F({suite}, HoldsTheValuesOfTheDocument) {{",
        f"    const {object_type} sut = objectOf(document());",
    ]
    for field in resource["fields"]:
        code = sample(field)[1]
        if field["kind"] == "reference":
            identifier = reference(field)["id"]
            lines += [f'    EXPECT_EQ(sut.get{field["name"]}().getValue().getId().getValue(), "{identifier}");']
        elif field["kind"] == "list of untyped references":
            second = reference(field)["name"]
            lines += [
                f'    ASSERT_EQ(sut.get{field["name"]}().getValue().size(), 2U);',
                f'    EXPECT_EQ(sut.get{field["name"]}().getValue()[1].getName().getValue(), "{second}");',
            ]
        else:
            lines += [f'    EXPECT_EQ(sut.get{field["name"]}().getValue(), ({code}));']
    lines += ["}"]

    scalars = [field for field in resource["fields"] if field["kind"] in SCALARS]
    if scalars:
        lines += [f"TEST_F({suite}, GivesTheTextOfScalars) {{", f"    const {object_type} sut = objectOf(document());"]
        for field in scalars:
            lines += [f'    EXPECT_EQ(sut.get{field["name"]}AsString().getValue(), "{sample(field)[2]}");']
            lines += [f'    EXPECT_FALSE(objectOf("{{}}").get{field["name"]}AsString());']
            lines += [f'    EXPECT_FALSE({object_type}(sut.getDescriptor()).get{field["name"]}AsString());']
        lines += ["}"]
    lines += booleans_test(suite, object_type, resource)
    lines += no_texts_test(suite, object_type, resource)

    lines += [
        f"TEST_F({suite}, GivesItsKeysAsText) {{",
        f"    std::vector<Service::{name.upper()}_FIELDS> fields;",
        "    Service::" + name + "Descriptor::SortKeys sortKeys;",
        "    std::vector<zeb::QueryOptions::SortKey> sortTexts;",
        f"    const std::vector<std::string> keys{texts(keys)};",
        "    for (std::size_t i = 0; i < keys.size(); ++i) {",
        f"        fields.push_back(static_cast<Service::{name.upper()}_FIELDS>(i));",
        "        sortKeys.emplace_back(zeb::QueryOptions::SORTBY_OPERATOR::DESCENDING, fields.back());",
        "        sortTexts.emplace_back(zeb::QueryOptions::SORTBY_OPERATOR::DESCENDING, keys[i]);",
        "    }",
        f"    EXPECT_EQ(Service::{name}Descriptor::get{name}VectorAsStringVector(fields), keys);",
        f"    EXPECT_EQ(Service::{name}Descriptor::getSortByFieldsAsStringVector(sortKeys), sortTexts);",
        "}",
    ]
    for field in resource["fields"]:
        if "literals" in field:
            lines += literals_test(unit, field["enumeration"], name + field["name"], field["literals"], True)
            lines += fill_test(unit, resource, field)
    lines += literals_test(unit, f"{name.upper()}_FIELDS", f"{name}Fields", keys, False)
    return lines


def fill_test(unit, resource, field):
    """Every literal of the field, read from JSON."""
    is_list = field["kind"] == "list of enumerations"
    value = ".front()" if is_list else ""
    opening, closing = ("[", "]") if is_list else ("", "")
    return [
        f"TEST({unit}{resource['class']}{field['name']}, IsReadFromEachLiteral) {{",
        f"    for (const std::string& literal : std::vector<std::string>{texts(field['literals'])}) {{",
        f"        const Service::{resource['class']} sut(zebutil::JsonObject::parse("
        f'R"({{"{field["key"]}":{opening}")" + literal + R"("{closing}}})"));',
        f"        EXPECT_EQ(Service::map{resource['class']}{field['name']}2String.at("
        f"sut.get{field['name']}().getValue(){value}), literal);",
        "    }",
        "}",
    ]


def main():
    model = yaml.load(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"), Loader=yaml.BaseLoader)
    prepare(model)
    lines = [
        f"// Generated from the model of {model['unit']}. Do not edit.",
        f"#include <ZebDataObjects_ZEB/{model['unit']}.h>",
        "",
        '#include "RoundTrip.h"',
        "",
        "namespace {",
        "",
        f"using Service = zebobjects_ZEB::{model['unit']}Service;",
        "using test_data_objects::RoundTrip;",
        "using test_data_objects::canBeCalledWith;",
        "using test_data_objects::expectLiterals;",
        "using test_data_objects::expectPrinted;",
        "",
    ]
    lines += [
        f"TEST({model['unit']}, HasItsName) {{ EXPECT_EQ(Service::getServiceName(), \"{model['service']}\"); }}",
        "",
    ]
    for resource in model["resources"]:
        lines += resource_tests(model, resource) + [""]
    lines += ["}  // namespace"]
    pathlib.Path(sys.argv[2]).write_text("\n".join(lines) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
