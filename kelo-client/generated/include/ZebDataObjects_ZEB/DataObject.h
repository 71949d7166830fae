#pragma once

#include <clampcontrolclient/Export.h>
#include <zeb/QueryOptions.h>
#include <zeb/XObject.h>
#include <zeb/XObjectDescriptor.h>
#include <zebutil/Optional.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The data objects: typed views of the JSON resources of remote services, one unit per service, written by
/// codegen/generate from the models in codegen/services. This header is what all of them share.
///
/// Everything here is a plain value: an object or descriptor is used by one thread at a time.
namespace zebobjects_ZEB {

using zebutil::Optional;

/// What the units' `to_string` print: "Clamp15(0)". For a value without a literal it is the number of
/// literals that is printed, which readers of the log are used to.
template <typename E>
std::string literalAndNumber(E value, const std::map<E, std::string>& literals) {
    const auto found = literals.find(value);
    return found == literals.end()
               ? "unknown value(" + std::to_string(literals.size()) + ")"
               : found->second + "(" + std::to_string(static_cast<std::int32_t>(value)) + ")";
}

template <typename E>
std::string literalAndNumber(const Optional<E>& value, const std::map<E, std::string>& literals) {
    return value ? literalAndNumber(value.getValue(), literals) : "optional invalid";
}

/// What the descriptors of all resources have in common. `S` is the service, `R` the resource's object, `F`
/// the enumeration of its keys. A descriptor holds the fields of one element, each of which may be absent;
/// what is set is also what an element must match when the descriptor is used to look for one: a list in the
/// same order, an element that is referred to by its uri.
///
/// Its setters throw `std::out_of_range`, after the field was stored, when they are given an enumeration
/// value that has no literal; one in a list is left out of the list's JSON and filter term.
template <typename S, typename R, typename F>
class CLAMPCONTROL_EXPORT ResourceDescriptor : public zeb::XObjectDescriptor {
 public:
    using Service = S;
    using Resource = R;
    using EXPAND_LEVEL = zeb::QueryOptions::EXPAND_LEVEL;
    using SortKeys = std::vector<std::pair<zeb::QueryOptions::SORTBY_OPERATOR, F>>;

    /// The element as JSON, the fields that are set. An enumeration value without a literal is left out.
    /// Throws `std::runtime_error` when an element that it refers to has no id or no name.
    std::shared_ptr<zebutil::JsonObject> getAsJson() const override;
    /// The same without "id", "name" and "uri".
    std::shared_ptr<zebutil::JsonObject> getAsZEBBody() const override;

    /// As the operations of the same names of `zeb::XObjectDescriptor`, with the resource's own keys.
    void setQueryOptions(const std::vector<F>& fields, EXPAND_LEVEL expandLevel);
    void setQueryOptions(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                         const std::vector<F>& expandFields, const SortKeys& sortBy);
    void setQueryOptions(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                         const std::vector<F>& expandFields, const SortKeys& sortBy, std::int64_t limit,
                         std::int64_t offset);
    void setQueryOptions(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                         const std::vector<F>& expandFields, const SortKeys& sortBy, std::int64_t limit,
                         const std::string& offsetId);
    void setQueryOptionsLimit(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                              const std::vector<F>& expandFields, const SortKeys& sortBy, std::int64_t limit);
    void setQueryOptionsOffset(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                               const std::vector<F>& expandFields, const SortKeys& sortBy,
                               std::int64_t offset);
    void setQueryOptionsOffset(const std::vector<F>& fields, EXPAND_LEVEL expandLevel,
                               const std::vector<F>& expandFields, const SortKeys& sortBy,
                               const std::string& offsetId);

    /// The keys as text, in the same order and with the same directions. Only values of the enumeration may
    /// be passed, here and as keys of the query options; others throw `std::out_of_range`.
    static std::vector<zeb::QueryOptions::SortKey> getSortByFieldsAsStringVector(const SortKeys& sortBy);

 protected:
    /// Every field absent.
    ResourceDescriptor();

    static std::vector<std::string> getVectorAsStringVector(const std::vector<F>& fields);

    /// What every setter does: the field takes the value, and the filter the term that goes with it.
    template <typename T, typename V>
    void set(Optional<T>& field, V&& value) {
        field.setValue(std::forward<V>(value));
        addFilterTerm(&field);
    }

 private:
    template <typename D>
    friend class DataObject;

    void addFilterTerm(const void* field);
    /// Sets `line` to that of each field before it reads the field.
    void fillFields(const zebutil::JsonObject& json, int& line);
    void writeFields(zebutil::JsonObject& json) const;
};

/// What the objects of all resources have in common. An object is an element as the service told of it: `D`
/// holds its fields. Its getters give absent ones for what the JSON lacked or had in a wrong form.
template <typename D>
class CLAMPCONTROL_EXPORT DataObject : public zeb::XObject<D> {
 public:
    static std::string getServiceName() { return D::Service::getServiceName(); }

    DataObject() = default;
    /// An element that no JSON told of, for instance to refer to it.
    explicit DataObject(D descriptor) : zeb::XObject<D>(std::move(descriptor)) {}
    /// Never throws for what `json` holds.
    explicit DataObject(std::shared_ptr<zebutil::JsonObject> json);

    /// Reads every key that `json` has over the present values; what a value in a wrong form costs depends on
    /// its kind. A bool, integer, string or list of strings costs its own field, an unknown literal itself,
    /// and either is logged at warning level. Anything else, also in "id", "name" or "uri", ends the fill:
    /// the fields before it are filled, and some units log that too. Never throws; does nothing when `json`
    /// is null.
    void fillFromJson(std::shared_ptr<zebutil::JsonObject> json) override;

    /// As the operation of `zeb::XObject`.
    std::unique_ptr<typename D::Resource> copyWithIdFromUri(const std::string& uri) const;

 protected:
    /// The text of the key's value in the JSON that the object was last filled from; absent without JSON or
    /// key. Throws what the string getter of the JSON throws.
    Optional<std::string> getAsString(const std::string& key) const;
};

}  // namespace zebobjects_ZEB
