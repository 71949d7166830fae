#include "ActiveFaults.h"

#include <utility>
#include <vector>

namespace zebbussim {

void ActiveFaults::begin(const std::string& slot, Fault fault) {
    const auto key = std::make_pair(slot, fault.path);
    if (const auto replaced = bySlot_.find(key); replaced != bySlot_.end()) {
        remove(faults_.find(replaced->second));
    }
    fault.since = journal_.now();
    const std::uint64_t number = ++last_;
    BusEvent event;
    event.kind = BusEvent::Kind::FaultBegun;
    event.fault = number;
    event.name = fault.kind;
    event.path = fault.path;
    event.text = fault.text;
    bySlot_[key] = number;
    faults_.emplace(number, std::move(fault));
    journal_.note(std::move(event));
}

std::size_t ActiveFaults::endAll() {
    return endIf([](const Fault&) { return true; });
}

std::size_t ActiveFaults::endOfKind(const std::string& kind) {
    return endIf([&](const Fault& fault) { return fault.kind == kind; });
}

std::size_t ActiveFaults::endOfPath(const std::string& path) {
    return endIf([&](const Fault& fault) { return fault.path == path; });
}

void ActiveFaults::ended(const std::string& kind) {
    for (auto next = faults_.begin(); next != faults_.end();) {
        const auto fault = next++;
        if (fault->second.kind == kind) {
            remove(fault);
        }
    }
}

template <typename Condition>
std::size_t ActiveFaults::endIf(Condition condition) {
    std::vector<std::uint64_t> chosen;
    for (const auto& [number, fault] : faults_) {
        if (condition(fault)) {
            chosen.push_back(number);
        }
    }
    for (const std::uint64_t number : chosen) {
        // The end of one may end another.
        if (const auto fault = faults_.find(number); fault != faults_.end()) {
            const std::function<void()> undo = fault->second.undo;
            remove(fault);
            if (undo) {
                undo();
            }
        }
    }
    return chosen.size();
}

void ActiveFaults::remove(Faults::iterator fault) {
    BusEvent event;
    event.kind = BusEvent::Kind::FaultEnded;
    event.fault = fault->first;
    event.name = fault->second.kind;
    event.path = fault->second.path;
    for (auto slot = bySlot_.begin(); slot != bySlot_.end(); ++slot) {
        if (slot->second == fault->first) {
            bySlot_.erase(slot);
            break;
        }
    }
    faults_.erase(fault);
    journal_.note(std::move(event));
}

}  // namespace zebbussim
