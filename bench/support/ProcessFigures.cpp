#include "ProcessFigures.h"

#include <sys/resource.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>

#include "MonotonicClock.h"

namespace bench {

namespace {

std::int64_t processCpuTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

std::int64_t residentBytes() {
    std::int64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * sysconf(_SC_PAGESIZE);
}

}  // namespace

ProcessFigures::ProcessFigures() : allocations_(benchAllocations == nullptr ? 0 : 4096) {}

void ProcessFigures::takeAtBegin() {
    readProcess();
    readAllocations();
    cpuTime_ = processCpuTime();
    time_ = monotonicNanoseconds();
}

void ProcessFigures::takeAtEnd() {
    time_ = monotonicNanoseconds();
    cpuTime_ = processCpuTime();
    readAllocations();
    readProcess();
}

void ProcessFigures::readProcess() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    voluntarySwitches_ = usage.ru_nvcsw;
    involuntarySwitches_ = usage.ru_nivcsw;
    residentBytes_ = residentBytes();
    threads_.clear();
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        Thread thread;
        std::getline(std::ifstream(task.path() / "comm"), thread.name);
        std::ifstream(task.path() / "schedstat") >> thread.cpuTime;
        threads_[std::stoll(task.path().filename())] = thread;
    }
}

void ProcessFigures::readAllocations() {
    if (benchAllocations != nullptr) {
        allocatingThreads_ = benchAllocations(allocations_.data(), allocations_.size());
    }
}

JsonText ProcessFigures::since(const ProcessFigures& begin) const {
    std::map<std::string, std::int64_t> cpuByName;
    for (const auto& [id, thread] : threads_) {
        const auto before = begin.threads_.find(id);
        cpuByName[thread.name] +=
            thread.cpuTime - (before == begin.threads_.end() ? 0 : before->second.cpuTime);
    }
    JsonText cpu;
    for (const auto& [name, time] : cpuByName) {
        cpu.add(name, time);
    }

    JsonText result;
    result.add("wallTime", time_ - begin.time_)
        .add("cpuTime", cpuTime_ - begin.cpuTime_)
        .add("voluntarySwitches", voluntarySwitches_ - begin.voluntarySwitches_)
        .add("involuntarySwitches", involuntarySwitches_ - begin.involuntarySwitches_)
        .add("residentBytes", residentBytes_)
        .add("threads", static_cast<std::int64_t>(threads_.size()))
        .add("threadCpuTime", cpu);
    if (allocations_.empty()) {
        return result;
    }

    std::map<std::int64_t, BenchAllocations> before;
    for (std::size_t i = 0; i < begin.allocatingThreads_; ++i) {
        before[begin.allocations_[i].thread] = begin.allocations_[i];
    }
    std::map<std::string, BenchAllocations> byName;
    for (std::size_t i = 0; i < allocatingThreads_; ++i) {
        const BenchAllocations& now = allocations_[i];
        const auto thread = threads_.find(now.thread);
        BenchAllocations& sum = byName[thread == threads_.end() ? "ended" : thread->second.name];
        sum.count += now.count - before[now.thread].count;
        sum.bytes += now.bytes - before[now.thread].bytes;
    }
    JsonText allocations;
    for (const auto& [name, sum] : byName) {
        allocations.add(name, JsonText().add("count", sum.count).add("bytes", sum.bytes));
    }
    return result.add("allocations", allocations);
}

}  // namespace bench
