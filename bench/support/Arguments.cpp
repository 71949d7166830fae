#include "Arguments.h"

#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace bench {

namespace {

[[noreturn]] void refuse(const std::string& program, const std::vector<Arguments::Known>& known,
                         const std::string& reason) {
    std::cerr << program << ": " << reason << "\nusage: " << program;
    for (const auto& argument : known) {
        const std::string words = "--" + argument.name + " " + (argument.isRequired ? "..." : argument.value);
        std::cerr << (argument.isRequired ? " " + words : " [" + words + "]");
    }
    std::cerr << std::endl;
    std::exit(2);
}

}  // namespace

Arguments::Arguments(int count, char** arguments, const std::vector<Known>& known) {
    std::map<std::string, bool> isMissing;
    for (const auto& argument : known) {
        values_[argument.name] = argument.value;
        isMissing[argument.name] = argument.isRequired;
    }
    for (int i = 1; i < count; i += 2) {
        const std::string word = arguments[i];
        const std::string name = word.substr(0, 2) == "--" ? word.substr(2) : "";
        if (values_.count(name) == 0) {
            refuse(arguments[0], known, "what is " + word + "?");
        }
        if (i + 1 == count) {
            refuse(arguments[0], known, word + " needs a value");
        }
        values_[name] = arguments[i + 1];
        isMissing[name] = false;
    }
    for (const auto& [name, missing] : isMissing) {
        if (missing) {
            refuse(arguments[0], known, "--" + name + " is missing");
        }
    }
}

const std::string& Arguments::text(const std::string& name) const {
    return values_.at(name);
}

std::int64_t Arguments::number(const std::string& name) const {
    std::size_t end = 0;
    const std::string& value = text(name);
    const std::int64_t number = std::stoll(value, &end);
    if (end != value.size() || number < 0) {
        throw std::invalid_argument("--" + name + " is no number");
    }
    return number;
}

}  // namespace bench
