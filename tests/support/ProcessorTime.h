#pragma once

#include <ctime>

namespace test_support {

/// The seconds of processor time that `function` takes, in all threads of this process. What else the machine
/// does makes little difference, so two of them can be compared.
template <typename Function>
double processorSecondsOf(Function function) {
    const auto now = [] {
        std::timespec time{};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    };
    const double begin = now();
    function();
    return now() - begin;
}

/// Whether four times the work takes about four times as long. With quadratic work it would be sixteen times.
template <typename Work>
bool isLinear(Work work, int size) {
    constexpr double kMost = 10;
    constexpr double kNoise = 0.02;
    const double little = processorSecondsOf([&] { work(size); });
    return processorSecondsOf([&] { work(4 * size); }) < kMost * little + kNoise;
}

}  // namespace test_support
