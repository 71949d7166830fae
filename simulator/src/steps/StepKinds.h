#pragma once

#include <functional>
#include <string>
#include <vector>

#include "MemberKind.h"

namespace zebbussim {

class Bus;
class Step;

struct StepKind {
    std::string name;
    std::vector<MemberKind> members;
    std::function<void(Bus&, const Step&)> perform;
    std::function<std::string(const Step&)> inWords;
    /// Of these members there must be exactly one.
    std::vector<std::string> oneOf{};
};

const std::vector<StepKind>& stepKinds();
/// Throws `BusError` 400 for a name that is none, with the one that was probably meant.
const StepKind& stepKind(const std::string& name);

}  // namespace zebbussim
