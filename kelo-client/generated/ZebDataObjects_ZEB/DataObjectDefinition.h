#pragma once

// The definitions of the templates in <ZebDataObjects_ZEB/DataObject.h>. Only the units include this header
// and instantiate the templates, so that users of the data objects compile neither them nor the JSON classes.

#include <ZebDataObjects_ZEB/DataObject.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonObject.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "UnitMessages.h"

namespace zebobjects_ZEB {

/// Writes the messages of the service `S`. Every unit specialises it for its service.
template <typename S>
extern UnitMessages unitMessages;

/// The line of the unit that messages about "id", "name" and "uri" of the resource `R` point to. Every unit
/// specialises it for its resources.
template <typename R>
extern const int kBaseFillLine;

/// Returns the table of an enumeration whose values are numbered from 0 in the order of their literals.
template <typename E>
std::map<E, std::string> literals(const std::vector<std::string>& texts) {
    std::map<E, std::string> table;
    for (const std::string& text : texts) {
        table.emplace_hint(table.end(), static_cast<E>(table.size()), text);
    }
    return table;
}

template <typename E>
std::map<std::string, E> reversed(const std::map<E, std::string>& literals) {
    std::map<std::string, E> table;
    for (const auto& [value, text] : literals) {
        table.emplace(text, value);
    }
    return table;
}

/// A field of a descriptor. `line` is that of its entry in `visitFields`; messages about the field point
/// there.
struct Field {
    std::string key;
    int line;
    UnitMessages& messages;
    bool& lacksMemory;

    void unreadable(const char* type, const std::exception& reason) const {
        lacksMemory = lacksMemory || dynamic_cast<const std::bad_alloc*>(&reason) != nullptr;
        messages.warning(line, {"could not get ", key, " as ", type, ", exception=", reason.what()});
    }
    /// One message for each of them.
    void unknownLiterals(std::size_t number) const {
        messages.warning(line, {"unknown enum value in ", key}, number);
    }
};

/// The literals of an enumeration as text for a message: "A", "B" or "C".
template <typename E>
std::string alternatives(const std::map<E, std::string>& literals) {
    std::string text;
    std::size_t left = literals.size();
    for (const auto& literal : literals) {
        --left;
        text.append(1, '"')
            .append(literal.second)
            .append(1, '"')
            .append(left > 1    ? ", "
                    : left == 1 ? " or "
                                : "");
    }
    return text;
}

/// Reads and writes the fields of a type and makes filter terms of them. An exception from `read` ends the
/// fill. A failure that loses only the field is reported by `read` itself. The filter term of a list is its
/// JSON text. A referenced element appears in a filter term, alone or in a list, as its uri. `expected`
/// describes the JSON of a field, for messages.
template <typename T, typename = void>
struct Kind;

/// Returns a JSON array to which `add` has added each value.
template <typename T, typename V>
zebutil::JsonArray arrayOf(const std::vector<T>& values, void (*add)(zebutil::JsonArray&, V)) {
    zebutil::JsonArray array;
    for (const T& value : values) {
        add(array, value);
    }
    return array;
}

/// Returns the JSON text of the array that `arrayOf` would return. Makes it in pieces, because a whole array
/// of many small values takes many times the memory of its text.
template <typename T, typename V>
std::string textOfArray(const std::vector<T>& values, void (*add)(zebutil::JsonArray&, V)) {
    constexpr std::size_t pieceSize = 256;
    std::string text = "[";
    for (std::size_t begin = 0; begin < values.size(); begin += pieceSize) {
        zebutil::JsonArray piece;
        for (std::size_t i = begin; i < values.size() && i < begin + pieceSize; ++i) {
            add(piece, values[i]);
        }
        const std::string bracketed = piece.toString();
        if (piece.size() > 0) {
            text.append(text.size() > 1 ? "," : "").append(bracketed, 1, bracketed.size() - 2);
        }
    }
    return text.append("]");
}

/// The common part of booleans, integers and strings. `getter` reads one from a JSON object.
template <typename T, T (zebutil::JsonObject::*getter)(const std::string&) const>
struct ScalarKind {
    template <typename Store>
    static void read(const zebutil::JsonObject& json, const Field& field, const Store& store) {
        try {
            store((json.*getter)(field.key));
        } catch (const std::exception& reason) {
            field.unreadable(Kind<T>::kName, reason);
        }
    }

    static void addTo(zeb::ZebFilter& filter, const std::string& key, const T& value) {
        filter.add(key, value);
    }
};

template <>
struct Kind<bool> : ScalarKind<bool, &zebutil::JsonObject::getBool> {
    static constexpr const char* kName = "bool";
    static std::string expected() { return "true or false"; }

    static void write(zebutil::JsonObject& json, const std::string& key, bool value) {
        json.setBool(key, value);
    }
};

template <>
struct Kind<std::int64_t> : ScalarKind<std::int64_t, &zebutil::JsonObject::getInt64> {
    static constexpr const char* kName = "int64_t";
    static std::string expected() { return "an integer of 64 bits"; }

    static void write(zebutil::JsonObject& json, const std::string& key, std::int64_t value) {
        json.setInt64(key, value);
    }
};

template <>
struct Kind<std::string> : ScalarKind<std::string, &zebutil::JsonObject::getString> {
    static constexpr const char* kName = "std::string";
    static std::string expected() { return "a string"; }

    static void write(zebutil::JsonObject& json, const std::string& key, const std::string& value) {
        json.setString(key, value);
    }
};

template <typename E>
struct Kind<E, std::enable_if_t<std::is_enum_v<E>>> {
    static std::string expected() { return alternatives(literalsOf(E()).toText); }

    template <typename Store>
    static void read(const zebutil::JsonObject& json, const Field& field, const Store& store) {
        const auto& values = literalsOf(E()).fromText;
        const auto found = values.find(json.getString(field.key));
        if (found == values.end()) {
            field.unknownLiterals(1);
        } else {
            store(found->second);
        }
    }

    static void write(zebutil::JsonObject& json, const std::string& key, E value) {
        const auto& literals = literalsOf(E()).toText;
        if (const auto found = literals.find(value); found != literals.end()) {
            json.setString(key, found->second);
        }
    }

    static void addTo(zeb::ZebFilter& filter, const std::string& key, E value) {
        filter.add(key, literalsOf(E()).toText.at(value));
    }
};

/// Lists of strings. An unreadable string loses the whole list.
template <>
struct Kind<std::vector<std::string>> {
    static std::string expected() { return "an array of strings"; }

    template <typename Store>
    static void read(const zebutil::JsonObject& json, const Field& field, const Store& store) {
        try {
            const auto array = json.getArray(field.key);
            std::vector<std::string> texts;
            texts.reserve(array->size());
            for (std::size_t i = 0; i < array->size(); ++i) {
                texts.push_back(array->getString(i));
            }
            store(std::move(texts));
        } catch (const std::exception& reason) {
            field.unreadable(Kind<std::string>::kName, reason);
        }
    }

    static void write(zebutil::JsonObject& json, const std::string& key,
                      const std::vector<std::string>& texts) {
        json.setArray(key, arrayOf(texts, addText));
    }

    static void addTo(zeb::ZebFilter& filter, const std::string& key, const std::vector<std::string>& texts) {
        filter.add(key, textOfArray(texts, addText));
    }

 private:
    static void addText(zebutil::JsonArray& array, const std::string& text) { array.addString(text); }
};

/// Lists of enumeration values. An unknown literal loses only that element. An element that is not a string
/// ends the fill.
template <typename E>
struct Kind<std::vector<E>, std::enable_if_t<std::is_enum_v<E>>> {
    static std::string expected() { return "an array of strings"; }

    template <typename Store>
    static void read(const zebutil::JsonObject& json, const Field& field, const Store& store) {
        const auto& table = literalsOf(E()).fromText;
        const auto array = json.getArray(field.key);
        std::vector<E> values;
        values.reserve(array->size());
        std::size_t unknown = 0;
        try {
            for (std::size_t i = 0; i < array->size(); ++i) {
                if (const auto found = table.find(array->getString(i)); found != table.end()) {
                    values.push_back(found->second);
                } else {
                    ++unknown;
                }
            }
        } catch (...) {
            field.unknownLiterals(unknown);
            throw;
        }
        field.unknownLiterals(unknown);
        store(std::move(values));
    }

    static void write(zebutil::JsonObject& json, const std::string& key, const std::vector<E>& values) {
        json.setArray(key, arrayOf(values, addLiteral));
    }

    static void addTo(zeb::ZebFilter& filter, const std::string& key, const std::vector<E>& values) {
        filter.add(key, textOfArray(values, addLiteral));
    }

 private:
    static void addLiteral(zebutil::JsonArray& array, E value) {
        const auto& literals = literalsOf(E()).toText;
        if (const auto found = literals.find(value); found != literals.end()) {
            array.addString(found->second);
        }
    }
};

template <typename D>
bool lacksMemory(const DataObject<D>& element) {
    return element.lacksMemory();
}
// The constructor of an element of an unknown resource throws.
inline bool lacksMemory(const zeb::IXObject& /*element*/) {
    return false;
}

/// Builds the element that a field refers to.
template <typename R>
R referencedElement(std::shared_ptr<zebutil::JsonObject> json) {
    R element(std::move(json));
    if (lacksMemory(element)) {
        throw std::bad_alloc();
    }
    return element;
}

/// References to elements. Reading keeps all data of the element that is present; writing outputs its uri, id
/// and name.
template <typename R>
struct Kind<R, std::enable_if_t<std::is_base_of_v<zeb::IXObject, R>>> {
    static std::string expected() { return "an object"; }

    template <typename Store>
    static void read(const zebutil::JsonObject& json, const Field& field, const Store& store) {
        if (!json.isNull(field.key)) {
            store(referencedElement<R>(json.getObject(field.key)));
        }
    }

    static void write(zebutil::JsonObject& json, const std::string& key, const R& element) {
        json.setObject(key, *element.getAsReference());
    }

    static void addTo(zeb::ZebFilter& filter, const std::string& key, const R& element) {
        filter.add(key, element.getReferenceUri());
    }
};

template <typename R>
struct Kind<std::vector<R>, std::enable_if_t<std::is_base_of_v<zeb::IXObject, R>>> {
    static std::string expected() { return "an array of objects"; }

    template <typename Store>
    static void read(const zebutil::JsonObject& json, const Field& field, const Store& store) {
        const auto array = json.getArray(field.key);
        std::vector<R> elements;
        elements.reserve(array->size());
        for (std::size_t i = 0; i < array->size(); ++i) {
            elements.push_back(referencedElement<R>(array->getObject(i)));
        }
        store(std::move(elements));
    }

    static void write(zebutil::JsonObject& json, const std::string& key, const std::vector<R>& elements) {
        json.setArray(key, arrayOf(elements, addReference));
    }

    static void addTo(zeb::ZebFilter& filter, const std::string& key, const std::vector<R>& elements) {
        filter.add(key, textOfArray(elements, addUri));
    }

 private:
    static void addReference(zebutil::JsonArray& array, const R& element) {
        array.addObject(*element.getAsReference());
    }
    static void addUri(zebutil::JsonArray& array, const R& element) {
        array.addString(element.getReferenceUri());
    }
};

template <typename S, typename R, typename F>
ResourceDescriptor<S, R, F>::ResourceDescriptor()
    : zeb::XObjectDescriptor(R::getServiceName(), R::getResourceName()) {}

template <typename S, typename R, typename F>
std::shared_ptr<zebutil::JsonObject> ResourceDescriptor<S, R, F>::getAsJson() const {
    auto json = zeb::XObjectDescriptor::getAsJson();
    writeFields(*json);
    return json;
}

template <typename S, typename R, typename F>
std::shared_ptr<zebutil::JsonObject> ResourceDescriptor<S, R, F>::getAsZEBBody() const {
    auto json = zeb::XObjectDescriptor::getAsZEBBody();
    writeFields(*json);
    return json;
}

template <typename S, typename R, typename F>
std::vector<std::string> ResourceDescriptor<S, R, F>::getVectorAsStringVector(const std::vector<F>& fields) {
    std::vector<std::string> keys;
    for (const F field : fields) {
        keys.push_back(keysOf(field).at(field));
    }
    return keys;
}

template <typename S, typename R, typename F>
std::vector<zeb::QueryOptions::SortKey> ResourceDescriptor<S, R, F>::getSortByFieldsAsStringVector(
    const SortKeys& sortBy) {
    std::vector<zeb::QueryOptions::SortKey> keys;
    for (const auto& [direction, field] : sortBy) {
        keys.emplace_back(direction, keysOf(field).at(field));
    }
    return keys;
}

template <typename S, typename R, typename F>
void ResourceDescriptor<S, R, F>::addFilterTerm(const void* field) {
    auto& self = static_cast<typename R::Desctype&>(*this);
    R::Desctype::visitFields([&](const char* key, auto member) {
        using T = typename std::decay_t<decltype(self.*member)>::ValueType;
        if (&(self.*member) == field) {
            Kind<T>::addTo(getFilter(), key, (self.*member).getValue());
        }
    });
}

template <typename S, typename R, typename F>
void ResourceDescriptor<S, R, F>::fillFields(const zebutil::JsonObject& json, Progress& progress) {
    using D = typename R::Desctype;
    auto& self = static_cast<D&>(*this);
    D::visitFields([&](const char* key, auto member, int listedAt = __builtin_LINE()) {
        using T = typename std::decay_t<decltype(self.*member)>::ValueType;
        progress.line = listedAt;
        const Field field{key, listedAt, unitMessages<S>, progress.lacksMemory};
        if (json.has(field.key)) {
            Kind<T>::read(json, field, [&](auto&& value) {
                (self.*member).setValue(std::forward<decltype(value)>(value));
                Kind<T>::addTo(getFilter(), field.key, (self.*member).getValue());
            });
        }
    });
}

template <typename S, typename R, typename F>
void ResourceDescriptor<S, R, F>::writeFields(zebutil::JsonObject& json) const {
    const auto& self = static_cast<const typename R::Desctype&>(*this);
    R::Desctype::visitFields([&](const char* key, auto member) {
        using T = typename std::decay_t<decltype(self.*member)>::ValueType;
        if ((self.*member).hasValue()) {
            Kind<T>::write(json, key, (self.*member).getValue());
        }
    });
}

template <typename S, typename R, typename F>
std::string ResourceDescriptor<S, R, F>::expectedAt(const std::string& key) {
    using D = typename R::Desctype;
    std::string text;
    D::visitFields([&](const char* field, auto member) {
        using T = typename std::decay_t<decltype(std::declval<D&>().*member)>::ValueType;
        if (key == field) {
            text = Kind<T>::expected();
        }
    });
    return text;
}

template <typename D>
DataObject<D>::DataObject(std::shared_ptr<zebutil::JsonObject> json) {
    DataObject::fillFromJson(std::move(json));
}

template <typename D>
void DataObject<D>::fillFromJson(std::shared_ptr<zebutil::JsonObject> json) {
    if (!json) {
        return;
    }
    typename D::Progress progress{kBaseFillLine<typename D::Resource>};
    try {
        zeb::XObject<D>::fillFromJson(json);
        this->descriptor().fillFields(*json, progress);
    } catch (const std::bad_alloc&) {
        progress.lacksMemory = true;
        unitMessages<typename D::Service>.reportEndOfFill(progress.line);
    } catch (...) {
        unitMessages<typename D::Service>.reportEndOfFill(progress.line);
    }
    lacksMemory_ = progress.lacksMemory;
}

template <typename D>
D DataObject<D>::getIdentityDescriptor() const {
    D identity;
    if (const auto& id = this->getId()) {
        identity.setId(id.getValue());
        identity.getFilter().add("id", id.getValue());
    }
    if (const auto& name = this->getName()) {
        identity.setName(name.getValue());
    }
    if (const auto& uri = this->getUri()) {
        identity.setUri(uri.getValue());
    }
    return identity;
}

template <typename D>
std::unique_ptr<typename D::Resource> DataObject<D>::copyWithIdFromUri(const std::string& uri) const {
    D descriptor = this->descriptor();
    descriptor.setIdFromUri(uri);
    return std::make_unique<typename D::Resource>(std::move(descriptor));
}

template <typename D>
std::string DataObject<D>::toString() const {
    try {
        return this->descriptor().getAsJson()->toString();
    } catch (const std::exception& reason) {
        return std::string("cannot be written as JSON: ") + reason.what();
    }
}

inline bool isBool(const zebutil::JsonObject& json, const std::string& key) {
    try {
        json.getBool(key);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

/// What the JSON has at `key`, as text for a message. Does not quote the value: messages with the same text
/// are limited together.
inline std::string foundAt(const zebutil::JsonObject& json, const std::string& key) {
    if (!json.has(key)) {
        return "found nothing";
    }
    if (json.isObject(key)) {
        return "found an object";
    }
    if (json.isArray(key)) {
        return "found an array";
    }
    if (json.isNull(key)) {
        return "found null";
    }
    if (json.isString(key)) {
        return "found a string";
    }
    return isBool(json, key) ? "found a boolean" : "found a number";
}

template <typename D>
std::string DataObject<D>::whyAbsent(const std::string& key) const {
    const auto& json = this->json();
    if (!json) {
        return "not filled from JSON";
    }
    try {
        zeb::XObject<D>().fillFromJson(json);
        const std::string expected = D::expectedAt(key);
        return foundAt(*json, key) + (expected.empty() ? "" : "; expected " + expected);
    } catch (const std::exception& reason) {
        return reason.what();
    }
}

template <typename D>
Optional<std::string> DataObject<D>::getAsString(const std::string& key) const {
    Optional<std::string> text;
    if (this->json() && this->json()->has(key)) {
        text.setValue(this->json()->getString(key));
    }
    return text;
}

}  // namespace zebobjects_ZEB
