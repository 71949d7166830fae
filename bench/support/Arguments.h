#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// Arguments of the form `--name value`. Ends the process with a list of the names when one is not among
/// them.
class Arguments {
 public:
    /// @param known with their defaults; what has none is required
    struct Known {
        std::string name;
        std::string value;
        bool isRequired = false;
    };

    Arguments(int count, char** arguments, const std::vector<Known>& known);

    const std::string& text(const std::string& name) const;
    std::int64_t number(const std::string& name) const;

 private:
    std::map<std::string, std::string> values_;
};

}  // namespace bench
