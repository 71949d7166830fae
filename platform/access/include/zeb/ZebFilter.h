#pragma once

#include <zeb/Export.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zeb {

/// Selects elements of a resource. An element matches if it has the value of every term under that term's
/// key.
///
/// Thread safety: that of a plain value.
class ZEB_EXPORT ZebFilter {
 public:
    /// A key, and its value as text: "true" or "false", a decimal number, or the string. Neither is
    /// percent-encoded.
    using Term = std::pair<std::string, std::string>;
    using const_iterator = std::vector<Term>::const_iterator;

    /// Each adds a term. A key that exists already keeps its place and gets the new value.
    void add(const std::string& key, bool value);
    void add(const std::string& key, std::int64_t value);
    void add(const std::string& key, std::string value);
    /// Without this overload a string literal would be taken for a bool.
    void add(const std::string& key, const char* value);

    bool isEmpty() const { return terms_.empty(); }

    /// The terms in the order in which their keys were first added.
    const_iterator begin() const { return terms_.begin(); }
    const_iterator end() const { return terms_.end(); }

 private:
    std::vector<Term> terms_;
};

}  // namespace zeb
