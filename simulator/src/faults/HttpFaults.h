#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace zebbussim {

/// What the bus does with a request in place of, or before, the correct answer.
struct HttpFault {
    bool silent = false;  ///< the request is never answered
    std::chrono::milliseconds delay{0};
    std::optional<std::string> bytes;  ///< sent as they are, before the connection is closed
    std::optional<int> status;         ///< answered with it and `body`
    std::string body;
    // With one of these the answer is right, but for this.
    std::optional<std::string> contentType;
    std::size_t paddedTo = 0;  ///< has at least so many bytes: white space behind the JSON, or a header
    bool isCut = false;        ///< its second half is missing, and the connection is closed

    static HttpFault answer(int status, const std::string& body) {
        HttpFault fault;
        fault.status = status;
        fault.body = body;
        return fault;
    }
    static HttpFault rawBytes(const std::string& bytes) {
        HttpFault fault;
        fault.bytes = bytes;
        return fault;
    }
    static HttpFault silence() {
        HttpFault fault;
        fault.silent = true;
        return fault;
    }
    static HttpFault late(std::chrono::milliseconds delay) {
        HttpFault fault;
        fault.delay = delay;
        return fault;
    }
    static HttpFault ofType(const std::string& contentType) {
        HttpFault fault;
        fault.contentType = contentType;
        return fault;
    }
    static HttpFault padded(std::size_t size) {
        HttpFault fault;
        fault.paddedTo = size;
        return fault;
    }
    static HttpFault cut() {
        HttpFault fault;
        fault.isCut = true;
        return fault;
    }
};

/// The faults by path. A fault applies to its path and everything below it.
class HttpFaults {
 public:
    void set(const std::string& path, HttpFault fault) { faults_[path] = std::move(fault); }
    void remove(const std::string& path) { faults_.erase(path); }
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
