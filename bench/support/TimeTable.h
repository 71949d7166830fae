#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

/// Times in nanoseconds of CLOCK_MONOTONIC, in a file that the server and the clients map. One row per
/// message, by its number: the n-th callback of a client belongs to the n-th message sent to it, so no
/// message has to carry a time. Two columns per client: sent, received. bench/suite/common.py creates the
/// file: three 64-bit integers (version, rows, columns), then the columns, one after the other.
///
/// Threads: each column has one writer.
class TimeTable {
 public:
    /// @param path of the file; if empty, times are dropped
    explicit TimeTable(const std::string& path);
    ~TimeTable();
    TimeTable(const TimeTable&) = delete;
    TimeTable& operator=(const TimeTable&) = delete;

    static constexpr std::size_t sentColumn(std::size_t client) { return 2 * client; }
    static constexpr std::size_t receivedColumn(std::size_t client) { return 2 * client + 1; }

    /// Ignores times outside the table.
    void set(std::size_t column, std::size_t row, std::int64_t time) {
        if (row < rows_ && column < columns_) {
            times_[column * rows_ + row] = time;
        }
    }

 private:
    static constexpr std::int64_t kVersion = 1;

    void* mapping_ = nullptr;
    std::size_t size_ = 0;
    std::int64_t* times_ = nullptr;
    std::size_t rows_ = 0;
    std::size_t columns_ = 0;
};

}  // namespace bench
