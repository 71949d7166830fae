#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// The decoded form of a text message of a peer. It has the fields of the library's data object.
struct TextClamp {
    enum class Type { Clamp15, ClampS, Clamp75X };

    std::string id;
    std::string name;
    std::string uri;
    bool isSwitchedOn = false;
    Type type = Type::Clamp15;

    /// Throws std::runtime_error if the text does not describe a clamp.
    static TextClamp decode(const char* text, std::size_t size);
};

}  // namespace bench
