#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "journal/Journal.h"

namespace zebbussim {

/// The faults that last until they are ended. Of one kind, or of those that share a slot, a path has one.
///
/// Used on the bus's thread.
class ActiveFaults {
 public:
    struct Fault {
        std::string kind;
        std::string path;  ///< empty: everything
        std::string text;  ///< what it does, in words
        std::chrono::milliseconds since{0};
        std::function<void()> undo;
    };
    using Faults = std::map<std::uint64_t, Fault>;

    explicit ActiveFaults(Journal& journal) : journal_(journal) {}

    /// Adds a fault that has begun. Replaces the one with the same slot and path.
    /// @param slot kinds with the same slot replace each other
    /// @param undo ends what the fault does; not called when it is replaced
    void begin(const std::string& slot, Fault fault);

    const Faults& all() const { return faults_; }

    // These return how many faults they have ended.
    std::size_t endAll();
    std::size_t endOfKind(const std::string& kind);
    std::size_t endOfPath(const std::string& path);
    /// Notes the end of a fault that has ended by itself.
    void ended(const std::string& kind);

 private:
    template <typename Condition>
    std::size_t endIf(Condition condition);
    void remove(Faults::iterator fault);

    Journal& journal_;
    Faults faults_;
    std::map<std::pair<std::string, std::string>, std::uint64_t> bySlot_;  ///< slot and path
    std::uint64_t last_ = 0;
};

}  // namespace zebbussim
