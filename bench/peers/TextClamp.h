#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// What the peers that carry text decode it to: the fields that the library's data object has.
struct TextClamp {
    enum class Type { Clamp15, ClampS, Clamp75X };

    std::string id;
    std::string name;
    std::string uri;
    bool isSwitchedOn = false;
    Type type = Type::Clamp15;

    /// Throws std::runtime_error when the text is no clamp.
    static TextClamp decode(const char* text, std::size_t size);
};

}  // namespace bench
