#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <utility>

namespace micro {

/// Benchmarks of one piece of work, registered as "<subject>/<contender>". The library's contender is
/// "clamp". The one that the others are compared with has the label "reference". The evaluation of the
/// results depends on both.
class Subject {
 public:
    explicit Subject(std::string name) : name_(std::move(name)) {}

    /// `work` takes the benchmark's state and loops over it.
    template <typename Work>
    benchmark::internal::Benchmark* ours(Work work) const {
        return add("clamp", work, "");
    }
    template <typename Work>
    benchmark::internal::Benchmark* reference(const char* contender, Work work) const {
        return add(contender, work, "reference");
    }
    template <typename Work>
    benchmark::internal::Benchmark* other(const char* contender, Work work) const {
        return add(contender, work, "");
    }

 private:
    template <typename Work>
    benchmark::internal::Benchmark* add(const char* contender, Work work, const char* label) const {
        return benchmark::RegisterBenchmark((name_ + "/" + contender).c_str(),
                                            [work, label](benchmark::State& state) {
                                                work(state);
                                                state.SetLabel(label);
                                            });
    }

    std::string name_;
};

/// The usual benchmark of a call. Keeps the compiler from removing the call.
template <typename Call>
auto repeat(Call call) {
    return [call](benchmark::State& state) {
        for (auto _ : state) {
            auto result = call();
            benchmark::DoNotOptimize(result);
            benchmark::ClobberMemory();
        }
    };
}

}  // namespace micro
