#pragma once

#include <cstdint>
#include <string>

namespace bench {

/// Writes one JSON object, member by member. Does not escape texts: the benchmarks have none that need it.
class JsonText {
 public:
    JsonText& add(const std::string& name, std::int64_t number) {
        return addRaw(name, std::to_string(number));
    }
    JsonText& add(const std::string& name, double number);
    JsonText& add(const std::string& name, const std::string& text) { return addRaw(name, '"' + text + '"'); }
    JsonText& add(const std::string& name, const JsonText& object) { return addRaw(name, object.text()); }

    std::string text() const { return '{' + members_ + '}'; }

 private:
    JsonText& addRaw(const std::string& name, const std::string& value);

    std::string members_;
};

/// Prints the line `{"<name>":<object>}` and flushes it, because the parent process waits for it.
void tell(const std::string& name, const JsonText& object);

}  // namespace bench
