#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "AllocationCounter.h"
#include "JsonText.h"

namespace bench {

/// What this process has used up to a moment. Two of them give the figures of the time between.
class ProcessFigures {
 public:
    ProcessFigures();

    /// The beginning of the measurement. The cost of taking these figures falls before it.
    void takeAtBegin();
    /// The end of the measurement. The cost of taking these figures falls after it.
    void takeAtEnd();

    std::int64_t time() const { return time_; }

    /// From `begin` to these figures: wall and CPU time, context switches, CPU time and allocations per
    /// thread name. Also the present resident memory and number of threads.
    JsonText since(const ProcessFigures& begin) const;

 private:
    struct Thread {
        std::string name;
        std::int64_t cpuTime = 0;
    };

    void readProcess();
    void readAllocations();

    std::int64_t time_ = 0;
    std::int64_t cpuTime_ = 0;
    std::int64_t voluntarySwitches_ = 0;
    std::int64_t involuntarySwitches_ = 0;
    std::int64_t residentBytes_ = 0;
    std::map<std::int64_t, Thread> threads_;
    std::vector<BenchAllocations> allocations_;
    std::size_t allocatingThreads_ = 0;
};

}  // namespace bench
