#pragma once

#include <internal/JsonPlaces.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "BusPath.h"
#include "DataProblems.h"
#include "ServiceModels.h"

namespace zebbussim {

/// Checks elements, and changes of elements, in a JSON text: do they have what their model says? The time is
/// linear in the size of the text, which must be valid JSON. Text and problems must outlive this object.
class ModelCheck {
 public:
    ModelCheck(std::string_view text, DataProblems& problems) : places_(text), problems_(problems) {}

    /// Adds a problem for each unknown or repeated field, value of the wrong kind and unknown literal.
    /// `element` is an object, `collection` its path for messages. Without a model, only "id", "name" and
    /// "uri" are checked.
    void check(const internal::JsonPlace& element, const std::string& collection, const ResourceModel* model);

 private:
    using JsonPlace = internal::JsonPlace;

    void checkField(const JsonPlace& key, const std::string& name, const JsonPlace& value,
                    const std::string& collection, const ResourceModel& model);
    void checkValue(const FieldModel& field, const JsonPlace& value);
    void checkString(const std::string& what, const JsonPlace& value);
    void checkInteger(const std::string& what, const JsonPlace& value);
    void checkLiteral(const std::string& what, const FieldModel& field, const JsonPlace& value);
    void checkReference(const std::string& what, const JsonPlace& value, bool mayBeNull);
    template <typename CheckEntry>
    void checkEntries(const FieldModel& field, const JsonPlace& list, CheckEntry checkEntry);
    void addWrongKind(const std::string& what, const std::string& expected, const JsonPlace& value,
                      std::string_view advice = {});

    const internal::JsonPlaces places_;
    DataProblems& problems_;
};

/// What is wrong with a JSON object that becomes the element at `path`, or is merged into it. Nothing if no
/// model has the resource.
DataProblems elementProblems(const BusPath& path, std::string_view json);

/// Throws `BusError` 400 if anything is.
void requireModelled(const BusPath& path, std::string_view json);

/// The same for the "data" of a step of a scenario, which begins at the byte `offset` of the scenario: the
/// places of the problems are in the scenario. Nothing for a path that is not that of an element.
std::vector<DataProblem> scenarioDataProblems(const std::string& path, std::string_view data,
                                              std::size_t offset);

}  // namespace zebbussim
