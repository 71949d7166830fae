#pragma once

#include <clampcontrolclient/Export.h>
#include <zeb/QueryOptions.h>
#include <zeb/XObject.h>
#include <zeb/XObjectDescriptor.h>
#include <zebutil/JsonObject.h>
#include <zebutil/Optional.h>

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// The data objects are typed views of the JSON resources of remote services. codegen/generate generates one
/// unit per service from the models in codegen/services. This header has the code that all units share.
///
/// Objects and descriptors are plain values. They are not thread-safe.
namespace zebobjects_ZEB {

using zebutil::Optional;

/// The two tables of an enumeration: each value's literal, and each literal's value. `literalsOf(value)` of
/// every unit returns them for its enumerations. It is found by argument-dependent look-up.
template <typename E>
struct Literals {
    const std::map<E, std::string>& toText;
    const std::map<std::string, E>& fromText;
};

/// Returns the literal and the number of an enumeration value, for example "Clamp15(0)". For a value without
/// a literal the text contains the number of literals, as readers of the log expect, and not the value.
template <typename E>
auto to_string(E value) -> std::enable_if_t<sizeof(literalsOf(value)) != 0, std::string> {
    const auto& literals = literalsOf(value).toText;
    const auto found = literals.find(value);
    return found == literals.end()
               ? "unknown value(" + std::to_string(literals.size()) + ")"
               : found->second + "(" + std::to_string(static_cast<std::int32_t>(value)) + ")";
}

template <typename E>
auto to_string(const Optional<E>& value) -> decltype(to_string(value.getValue())) {
    return value.hasValue() ? to_string(value.getValue()) : "optional invalid";
}

/// Prints an enumeration value as `to_string` does. The stream is a `std::ostream`.
template <typename Out, typename E>
auto operator<<(Out& out, E value)
    -> std::enable_if_t<std::is_convertible_v<Out*, std::ostream*> && sizeof(literalsOf(value)) != 0, Out&> {
    out << to_string(value);
    return out;
}

/// A base of the service classes. Makes `to_string` a member of them.
class EnumerationTexts {
 public:
    template <typename E>
    static auto to_string(E value) -> decltype(zebobjects_ZEB::to_string(value)) {
        return zebobjects_ZEB::to_string(value);
    }
    template <typename E>
    static auto to_string(const Optional<E>& value) -> decltype(zebobjects_ZEB::to_string(value)) {
        return zebobjects_ZEB::to_string(value);
    }
};

/// The common base of all descriptors. `S` is the service, `R` the object class of the resource, `F` the
/// enumeration of its keys. A descriptor holds the fields of one element. Each field can be absent. When a
/// descriptor is used to find elements, an element must match all fields that are set: lists in the same
/// order, referenced elements by their uri.
///
/// A setter throws `std::out_of_range` for an enumeration value without a literal, after it has stored the
/// field. In a list, such a value does not throw; the JSON and the filter term of the list omit it.
template <typename S, typename R, typename F>
class CLAMPCONTROL_EXPORT ResourceDescriptor : public zeb::XObjectDescriptor {
 public:
    using Service = S;
    using Resource = R;
    using EXPAND_LEVEL = zeb::QueryOptions::EXPAND_LEVEL;
    using SortKeys = std::vector<std::pair<zeb::QueryOptions::SORTBY_OPERATOR, F>>;

    /// Returns the fields that are set as JSON, without enumeration values that have no literal. Throws
    /// `std::runtime_error` if a referenced element has no id or no name.
    std::shared_ptr<zebutil::JsonObject> getAsJson() const override;
    /// Like `getAsJson()`, but without "id", "name" and "uri".
    std::shared_ptr<zebutil::JsonObject> getAsZEBBody() const override;

    // With the keys as text.
    using zeb::XObjectDescriptor::setQueryOptions;
    using zeb::XObjectDescriptor::setQueryOptionsLimit;
    using zeb::XObjectDescriptor::setQueryOptionsOffset;

    /// Like the functions of `zeb::XObjectDescriptor` with the same names, but with the keys of the resource.
    /// A key that is not a value of the enumeration throws `std::out_of_range`. Templates, so that empty
    /// lists in braces are not ambiguous.
    template <typename = void>
    void setQueryOptions(const std::vector<F>& fields, EXPAND_LEVEL expandLevel) {
        zeb::XObjectDescriptor::setQueryOptions(getVectorAsStringVector(fields), expandLevel);
    }
    template <typename = void>
    void setQueryOptions(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                         const std::vector<F>& expandFields, const SortKeys& sortBy) {
        zeb::XObjectDescriptor::setQueryOptions(getVectorAsStringVector(fields), expandLevel,
                                                getVectorAsStringVector(expandFields),
                                                getSortByFieldsAsStringVector(sortBy));
    }
    template <typename = void>
    void setQueryOptions(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                         const std::vector<F>& expandFields, const SortKeys& sortBy, std::int64_t limit,
                         std::int64_t offset) {
        zeb::XObjectDescriptor::setQueryOptions(getVectorAsStringVector(fields), expandLevel,
                                                getVectorAsStringVector(expandFields),
                                                getSortByFieldsAsStringVector(sortBy), limit, offset);
    }
    template <typename = void>
    void setQueryOptions(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                         const std::vector<F>& expandFields, const SortKeys& sortBy, std::int64_t limit,
                         const std::string& offsetId) {
        zeb::XObjectDescriptor::setQueryOptions(getVectorAsStringVector(fields), expandLevel,
                                                getVectorAsStringVector(expandFields),
                                                getSortByFieldsAsStringVector(sortBy), limit, offsetId);
    }
    template <typename = void>
    void setQueryOptionsLimit(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                              const std::vector<F>& expandFields, const SortKeys& sortBy,
                              std::int64_t limit) {
        zeb::XObjectDescriptor::setQueryOptionsLimit(getVectorAsStringVector(fields), expandLevel,
                                                     getVectorAsStringVector(expandFields),
                                                     getSortByFieldsAsStringVector(sortBy), limit);
    }
    template <typename = void>
    void setQueryOptionsOffset(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                               const std::vector<F>& expandFields, const SortKeys& sortBy,
                               std::int64_t offset) {
        zeb::XObjectDescriptor::setQueryOptionsOffset(getVectorAsStringVector(fields), expandLevel,
                                                      getVectorAsStringVector(expandFields),
                                                      getSortByFieldsAsStringVector(sortBy), offset);
    }
    template <typename = void>
    void setQueryOptionsOffset(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                               const std::vector<F>& expandFields, const SortKeys& sortBy,
                               const std::string& offsetId) {
        zeb::XObjectDescriptor::setQueryOptionsOffset(getVectorAsStringVector(fields), expandLevel,
                                                      getVectorAsStringVector(expandFields),
                                                      getSortByFieldsAsStringVector(sortBy), offsetId);
    }

    /// Returns the texts of the keys, in the same order and with the same directions. A key that is not a
    /// value of the enumeration throws `std::out_of_range`.
    static std::vector<zeb::QueryOptions::SortKey> getSortByFieldsAsStringVector(const SortKeys& sortBy);

 protected:
    /// Creates a descriptor with all fields absent.
    ResourceDescriptor();

    static std::vector<std::string> getVectorAsStringVector(const std::vector<F>& fields);

    /// Implements all setters: stores the value and sets the filter term of the field.
    template <typename T, typename V>
    void set(Optional<T>& field, V&& value) {
        field.setValue(std::forward<V>(value));
        addFilterTerm(&field);
    }

 private:
    template <typename D>
    friend class DataObject;

    /// How far a fill has come.
    struct Progress {
        int line;                  ///< of the unit: where messages about the present field point to
        bool lacksMemory = false;  ///< whether a value was lost only for want of memory
    };

    void addFilterTerm(const void* field);
    /// Sets the line to that of each field before it reads the field.
    void fillFields(const zebutil::JsonObject& json, Progress& progress);
    void writeFields(zebutil::JsonObject& json) const;
    /// What the JSON of a field should be, as text for a message; empty for a key that is not a field's.
    static std::string expectedAt(const std::string& key);
};

/// The common base of all objects. An object is an element as the service published it. Its descriptor `D`
/// holds the fields. A getter returns an absent value for a field that the JSON lacked or had in a wrong
/// form.
template <typename D>
class CLAMPCONTROL_EXPORT DataObject : public zeb::XObject<D> {
 public:
    static std::string getServiceName() { return D::Service::getServiceName(); }

    DataObject() = default;
    /// Creates an element without JSON, for example as the target of a reference.
    explicit DataObject(D descriptor) : zeb::XObject<D>(std::move(descriptor)) {}
    /// Creates an element from JSON, with the rules of `fillFromJson()`.
    explicit DataObject(std::shared_ptr<zebutil::JsonObject> json);

    /// Reads the keys that `json` has and overwrites their fields. The effect of a value in a wrong form
    /// depends on its kind. An unreadable bool, integer, string or list of strings loses its field, and an
    /// unknown literal loses that value; both are logged at warning level. Any other failure, also in "id",
    /// "name" or "uri", ends the fill: the earlier fields stay filled, and some units log this too. Never
    /// throws. Does nothing if `json` is null.
    void fillFromJson(std::shared_ptr<zebutil::JsonObject> json) override;

    /// Whether the last fill has lost a value only for want of memory. Such an element looks like one whose
    /// JSON lacks the value. The bundled platform never delivers it: it builds the element again, or reports
    /// that there was no memory.
    bool lacksMemory() const { return lacksMemory_; }

    /// Returns a descriptor of this very element, to subscribe to it again, to find it again or to write it.
    /// It has the id, the name and the uri. Its filter asks for the id, if there is one. It has none of the
    /// fields and no query options, unlike `getDescriptor()`, which finds the element only while it has the
    /// same values.
    D getIdentityDescriptor() const;

    /// Like the function of `zeb::XObject`, on every platform.
    std::unique_ptr<typename D::Resource> copyWithIdFromUri(const std::string& uri) const;

    /// Returns the element as text for a message: its id, name, uri and fields as JSON, or why they cannot be
    /// written. Throws only for want of memory.
    std::string toString() const;

    /// Returns, as text for a message, why a field is absent: what ended the fill at "id", "name" or "uri",
    /// or what the JSON has at `key` and what was expected there.
    std::string whyAbsent(const std::string& key) const;

 protected:
    /// Returns the text of the key's value in the JSON that the object was last filled from. Absent without
    /// JSON or without the key. Throws the exceptions of the JSON's string getter.
    Optional<std::string> getAsString(const std::string& key) const;

 private:
    bool lacksMemory_ = false;
};

/// Prints the element as `toString()` does. The stream is a `std::ostream`.
template <typename Out, typename D>
std::enable_if_t<std::is_convertible_v<Out*, std::ostream*>, Out&> operator<<(Out& out,
                                                                              const DataObject<D>& element) {
    out << element.toString();
    return out;
}

}  // namespace zebobjects_ZEB
