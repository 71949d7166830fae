#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// Arguments of the form `--name value`. For an unknown name it prints the known names and ends the process.
class Arguments {
 public:
    /// @param known names with their defaults; a name without a default is required
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
