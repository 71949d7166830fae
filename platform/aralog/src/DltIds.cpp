#include "DltIds.h"

#include <algorithm>

namespace ara::log {

std::string dltId(std::string_view name) {
    if (name.empty()) {
        return "_";
    }
    std::string id(name.substr(0, kDltIdSize));
    std::replace_if(
        id.begin(), id.end(), [](char character) { return character <= ' ' || character > '~'; }, '_');
    return id;
}

std::string freeDltId(std::string_view name, const std::set<std::string>& taken) {
    const std::string own = dltId(name);
    if (taken.count(own) == 0) {
        return own;
    }

    constexpr std::string_view marks = "123456789abcdefghijklmnopqrstuvwxyz";
    const auto free = [&taken](const std::string& id) { return taken.count(id) == 0; };
    const std::string kept = own.substr(0, kDltIdSize - 1);
    for (const char mark : marks) {
        if (const std::string id = kept + mark; free(id)) {
            return id;
        }
    }
    for (const char first : marks) {
        for (const char second : marks) {
            if (const std::string id = kept.substr(0, kDltIdSize - 2) + first + second; free(id)) {
                return id;
            }
        }
    }
    return own;
}

std::string dltDescription(std::string_view name, std::string_view id, std::string_view description) {
    if (name == id || name.empty()) {
        return std::string(description);
    }
    std::string text(name);
    if (!description.empty()) {
        text.append(": ").append(description);
    }
    return text;
}

}  // namespace ara::log
