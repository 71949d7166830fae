#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zeb/ZebFilter.h>
#include <zebutil/JsonObject.h>

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "DataObjectTest.h"

/// What the tests written by generate_round_trip.py have in common: the rules for reading each kind of field,
/// in terms of the models and independent of the generated units.
namespace test_data_objects {

/// What is lost when a value cannot be read.
enum class Loses { nothing, itsField, itsFieldAndTheRest };

struct OddValue {
    std::string json;
    Loses loses;
    /// The message; its beginning when it ends in "exception="; empty when there is none.
    std::string message;
    /// How the value is written, unless it is lost; none when writing it throws.
    std::optional<std::string> written;
};

/// One field of the resource whose object is `R`.
template <typename R>
struct FieldUnderTest {
    std::string key;
    std::string kind;
    /// A valid value that differs from that of every other field of the same type, except for booleans.
    std::string json;
    bool (*isSet)(const R&);
    void (*set)(typename R::Desctype&);
    /// The value of the filter term that `set` adds.
    std::string filterTerm;
    /// The literals of an enumeration, or of a list of its values; otherwise empty.
    std::vector<std::string> literals;
};

inline std::vector<OddValue> oddValues(const std::string& kind, const std::string& key,
                                       const std::vector<std::string>& literals,
                                       const std::string& endOfFill) {
    const std::string unknown = "unknown enum value in " + key;
    const auto unreadable = [&](const std::string& type) {
        return "could not get " + key + " as " + type + ", exception=";
    };
    std::vector<std::string> unknownLiterals{R"("noLiteralAtAll")", R"("")", "0", "true"};
    if (!literals.empty()) {
        unknownLiterals.push_back("\"" + literals.front() + " \"");
        unknownLiterals.push_back("\" " + literals.front() + "\"");
    }
    std::vector<OddValue> values;
    const auto lose = [&](Loses loses, const std::string& message, const std::vector<std::string>& jsons) {
        for (const std::string& json : jsons) {
            values.push_back({json, loses, message, std::nullopt});
        }
    };
    const auto keep = [&](const std::string& json, const std::optional<std::string>& written,
                          const std::string& message = "") {
        values.push_back({json, Loses::nothing, message, written});
    };
    if (kind == "bool") {
        lose(Loses::itsField, unreadable("bool"),
             {"null", "0", "1", "1.5", R"("true")", R"("banana")", "{}", "[]", "[true]"});
    } else if (kind == "integer") {
        lose(Loses::itsField, unreadable("int64_t"),
             {"null", "true", "1.0", "1.5", "9223372036854775808", "-9223372036854775809", R"("1")", "{}",
              "[]", "[1]"});
    } else if (kind == "string") {
        lose(Loses::itsField, unreadable("std::string"), {"null", "{}", "[]", R"(["x"])"});
        keep("true", R"("true")");
        keep("17", R"("17")");
        keep("-1.5", R"("-1.5")");
        keep(R"("")", R"("")");
    } else if (kind == "enumeration") {
        lose(Loses::itsField, unknown, unknownLiterals);
        lose(Loses::itsFieldAndTheRest, endOfFill, {"null", "{}", "[]"});
    } else if (kind == "list of strings") {
        lose(Loses::itsField, unreadable("std::string"),
             {"null", "true", "1", R"("x")", "{}", "[null]", R"(["x",{}])", R"([[],"x"])"});
        keep("[]", "[]");
        keep(R"([1,true,"",-1.5])", R"(["1","true","","-1.5"])");
    } else if (kind == "list of enumerations") {
        lose(Loses::itsFieldAndTheRest, endOfFill,
             {"null", "true", "1", R"("x")", "{}", "[null]", "[{}]", "[[]]"});
        for (const std::string& literal : unknownLiterals) {
            keep("[" + literal + "]", "[]", unknown);
        }
        keep("[]", "[]");
    } else if (kind == "reference") {
        lose(Loses::itsField, "", {"null"});
        lose(Loses::itsFieldAndTheRest, endOfFill, {"true", "1", R"("x")", "[]", "[{}]"});
        keep("{}", std::nullopt);
    } else if (kind == "list of untyped references") {
        lose(Loses::itsFieldAndTheRest, endOfFill,
             {"null", "true", "1", R"("x")", "{}", "[null]", "[1]", R"(["x"])", "[[]]",
              R"([{},{"id":null}])"});
        keep("[]", "[]");
        keep("[{}]", std::nullopt);
    } else {
        ADD_FAILURE() << "no rules for fields of the kind " << kind;
    }
    return values;
}

/// Whether `call` can be called with an object of type T. Pass a lambda whose trailing return type names the
/// operation: the result is false when T lacks it.
template <typename T, typename Call>
constexpr bool canBeCalledWith(const Call&) {
    return std::is_invocable_v<Call, const T&>;
}

template <typename R>
class RoundTrip : public DataObjectTest {
 protected:
    RoundTrip(std::string unit, std::string endOfFill, std::vector<FieldUnderTest<R>> fieldsUnderTest)
        : unit_(std::move(unit)), endOfFill_(std::move(endOfFill)), fields_(std::move(fieldsUnderTest)) {}

    /// A document with every field; the value of the field `key` is replaced by `json`.
    std::string document(const std::string& key = "", const std::string& json = "") const {
        return documentOf([&](const auto& field) {
            return std::optional<std::string>(field.key == key ? json : field.json);
        });
    }

    static R objectOf(const std::string& json) { return R(zebutil::JsonObject::parse(json)); }

    void expectEveryFieldIsFilled() const {
        const R sut = objectOf(document());
        EXPECT_EQ(sut.getId().getValue() + sut.getName().getValue() + sut.getUri().getValue(),
                  "17seventeen/a/b/17");
        for (const auto& field : fields_) {
            EXPECT_TRUE(field.isSet(sut)) << field.key;
        }
        EXPECT_THAT(log.lines(), testing::IsEmpty());
    }

    void expectTheDocumentIsGivenBack() const {
        EXPECT_EQ(objectOf(document()).getDescriptor().getAsJson()->toString(), sorted(document()));
    }

    void expectTheBodyHasTheFieldsOnly() const {
        auto keys = R(zebutil::JsonObject::parse(document())).getDescriptor().getAsZEBBody()->getKeys();
        std::vector<std::string> expected;
        for (const auto& field : fields_) {
            expected.push_back(field.key);
        }
        EXPECT_THAT(keys, testing::UnorderedElementsAreArray(expected));
    }

    void expectEachKeyAloneFillsItsFieldAlone() const {
        for (const auto& alone : fields_) {
            const R sut = objectOf("{\"" + alone.key + "\":" + alone.json + "}");
            for (const auto& field : fields_) {
                EXPECT_EQ(field.isSet(sut), field.key == alone.key)
                    << field.key << " of " << alone.key << " alone";
            }
            EXPECT_FALSE(sut.getId() || sut.getName() || sut.getUri());
        }
    }

    void expectOddValuesCostWhatTheyMay() {
        for (const auto& odd : fields_) {
            for (const OddValue& value : oddValuesOf(odd)) {
                log.clear();
                const R sut = objectOf(document(odd.key, value.json));
                bool isBehind = false;
                for (const auto& field : fields_) {
                    const bool isOdd = field.key == odd.key;
                    const bool isLost = isOdd ? value.loses != Loses::nothing
                                              : isBehind && value.loses == Loses::itsFieldAndTheRest;
                    EXPECT_EQ(field.isSet(sut), !isLost)
                        << field.key << ", " << odd.key << " being " << value.json;
                    isBehind = isBehind || isOdd;
                }
                expectMessage(value.message, odd.key + " being " + value.json);
            }
        }
    }

    void expectOddValuesToBeWrittenAsWhatTheyAreTakenFor() const {
        for (const auto& odd : fields_) {
            for (const OddValue& value : oddValuesOf(odd)) {
                const auto descriptor = objectOf(document(odd.key, value.json)).getDescriptor();
                if (value.loses == Loses::nothing && !value.written) {
                    EXPECT_THROW(descriptor.getAsJson(), std::runtime_error)
                        << odd.key << " being " << value.json;
                    continue;
                }
                bool isBehind = false;
                const std::string expected = documentOf([&](const auto& field) {
                    if (field.key == odd.key) {
                        isBehind = true;
                        return value.written;
                    }
                    return isBehind && value.loses == Loses::itsFieldAndTheRest
                               ? std::nullopt
                               : std::optional<std::string>(field.json);
                });
                EXPECT_EQ(descriptor.getAsJson()->toString(), sorted(expected))
                    << odd.key << " being " << value.json;
            }
        }
    }

    void expectLaterValuesThatCannotBeReadChangeNothing() const {
        const R before = objectOf(document());
        for (const auto& odd : fields_) {
            for (const OddValue& value : oddValuesOf(odd)) {
                if (value.loses != Loses::nothing) {
                    R sut = before;
                    sut.fillFromJson(zebutil::JsonObject::parse("{\"" + odd.key + "\":" + value.json + "}"));
                    EXPECT_EQ(sut.getDescriptor().getAsJson()->toString(),
                              before.getDescriptor().getAsJson()->toString())
                        << odd.key << " being " << value.json;
                }
            }
        }
    }

    void expectEachSetterMakesItsFilterTerm() const {
        for (const auto& field : fields_) {
            typename R::Desctype sut;
            field.set(sut);
            field.set(sut);
            const std::vector<zeb::ZebFilter::Term> expected{{field.key, field.filterTerm}};
            EXPECT_EQ(std::vector<zeb::ZebFilter::Term>(sut.getFilter().begin(), sut.getFilter().end()),
                      expected);
            EXPECT_TRUE(field.isSet(R(sut))) << field.key;
        }
    }

    void expectACopyThroughTheBaseIsOfTheSameResource() const {
        const R original = objectOf(document());
        const zeb::XObject<typename R::Desctype>& base = original;
        const std::unique_ptr<zeb::IXObject> copy = base.copyWithIdFromUri("/a/b/18");
        const auto* const sut = dynamic_cast<const R*>(copy.get());
        ASSERT_NE(sut, nullptr);
        EXPECT_EQ(sut->getId().getValue() + sut->getUri().getValue(), "18/a/b/18");
        EXPECT_EQ(sut->getDescriptor().getAsZEBBody()->toString(),
                  original.getDescriptor().getAsZEBBody()->toString());
    }

    void expectTheIdentityHasNoFields() const {
        const auto sut = objectOf(document()).getIdentityDescriptor();
        EXPECT_EQ(sut.getRelativeUri(), "/" + R::getServiceName() + "/" + R::getResourceName() + "/17");
        EXPECT_EQ(sut.getAsJson()->toString(), R"({"id":"17","name":"seventeen","uri":"/a/b/17"})");
        const std::vector<zeb::ZebFilter::Term> expected{{"id", "17"}};
        EXPECT_EQ(std::vector<zeb::ZebFilter::Term>(sut.getFilter().begin(), sut.getFilter().end()),
                  expected);
    }

    void expectItIsPrintedAsJson() const {
        EXPECT_EQ(testing::PrintToString(objectOf(document())), sorted(document()));
    }

    void expectWhatSettersMadeIsReadBack() const {
        typename R::Desctype written;
        for (const auto& field : fields_) {
            field.set(written);
        }
        const R read(written.getAsJson());
        EXPECT_EQ(read.getDescriptor().getAsJson()->toString(), written.getAsJson()->toString());
        for (const auto& field : fields_) {
            EXPECT_TRUE(field.isSet(read)) << field.key;
        }
    }

 private:
    /// A document of the fields for which `valueOf` returns a value.
    template <typename ValueOf>
    std::string documentOf(const ValueOf& valueOf) const {
        std::string text = R"({"id":"17","name":"seventeen","uri":"/a/b/17")";
        for (const auto& field : fields_) {
            if (const std::optional<std::string> value = valueOf(field)) {
                text += ",\"" + field.key + "\":" + *value;
            }
        }
        return text + "}";
    }

    /// The document as an object writes it, with sorted keys.
    static std::string sorted(const std::string& document) {
        return zebutil::JsonObject::parse(document)->toString();
    }

    std::vector<OddValue> oddValuesOf(const FieldUnderTest<R>& field) const {
        return oddValues(field.kind, field.key, field.literals, endOfFill_);
    }

    void expectMessage(const std::string& expected, const std::string& when) const {
        const auto messages = messagesOf(unit_);
        const std::string reason = "exception=";
        if (expected.empty()) {
            EXPECT_THAT(messages, testing::IsEmpty()) << when;
        } else if (expected.size() > reason.size() &&
                   expected.compare(expected.size() - reason.size(), reason.size(), reason) == 0) {
            EXPECT_THAT(messages, testing::ElementsAre(
                                      testing::AllOf(testing::StartsWith(expected), testing::Ne(expected))))
                << when;
        } else {
            EXPECT_THAT(messages, testing::ElementsAre(expected)) << when;
        }
    }

    const std::string unit_;
    const std::string endOfFill_;

    const std::vector<FieldUnderTest<R>> fields_;
};

/// Every value has its literal, in both directions, and the tables hold nothing else.
template <typename S, typename E>
void expectLiterals(const std::vector<std::string>& literals, const std::map<E, std::string>& toText,
                    const std::map<std::string, E>& fromText) {
    ASSERT_EQ(toText.size(), literals.size());
    ASSERT_EQ(fromText.size(), literals.size());
    for (std::size_t i = 0; i < literals.size(); ++i) {
        EXPECT_EQ(toText.at(static_cast<E>(i)), literals[i]);
        EXPECT_EQ(fromText.at(literals[i]), static_cast<E>(i));
    }
}

/// Every value is printed with its literal and its number. Other numbers are printed as unknown.
template <typename S, typename E>
void expectPrinted(const std::vector<std::string>& literals) {
    for (std::size_t i = 0; i < literals.size(); ++i) {
        const std::string expected = literals[i] + "(" + std::to_string(i) + ")";
        const auto value = static_cast<E>(i);
        EXPECT_EQ(S::to_string(value), expected);
        EXPECT_EQ(S::to_string(zebutil::Optional<E>(&value)), expected);
        EXPECT_EQ(to_string(value), expected);
        EXPECT_EQ(to_string(zebutil::Optional<E>(&value)), expected);
        EXPECT_EQ(testing::PrintToString(value), expected);
        EXPECT_EQ(testing::PrintToString(zebutil::Optional<E>(&value)), expected);
    }
    const std::string unknown = "unknown value(" + std::to_string(literals.size()) + ")";
    EXPECT_EQ(S::to_string(static_cast<E>(literals.size())), unknown);
    EXPECT_EQ(S::to_string(static_cast<E>(-1)), unknown);
    EXPECT_EQ(S::to_string(zebutil::Optional<E>()), "optional invalid");
}

}  // namespace test_data_objects
