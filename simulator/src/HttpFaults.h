#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace zebbussim {

/// What is done to requests instead of, or before, answering them rightly.
struct HttpFault {
    bool silent = false;
    std::chrono::milliseconds delay{0};
    std::optional<std::string> bytes;  ///< sent as they are, before the connection is closed
    std::optional<int> status;
    std::string body;
};

/// Faults by path; one counts for its path and everything below it.
class HttpFaults {
 public:
    void set(const std::string& path, HttpFault fault) { faults_[path] = std::move(fault); }
    void clear() { faults_.clear(); }

    /// The fault with the longest path.
    std::optional<HttpFault> find(const std::string& path) const {
        const HttpFault* best = nullptr;
        std::size_t bestLength = 0;
        for (const auto& [prefix, fault] : faults_) {
            if (prefix.size() >= bestLength && covers(prefix, path)) {
                best = &fault;
                bestLength = prefix.size();
            }
        }
        return best == nullptr ? std::nullopt : std::optional<HttpFault>(*best);
    }

 private:
    static bool covers(const std::string& prefix, const std::string& path) {
        return prefix == "/" || path == prefix || path.compare(0, prefix.size() + 1, prefix + "/") == 0;
    }

    std::map<std::string, HttpFault> faults_;
};

}  // namespace zebbussim
