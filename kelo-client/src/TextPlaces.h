#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kelo_client {

/// A place in a text as an editor shows it. The column counts bytes.
struct TextPlace {
    std::size_t line = 0;    ///< from 1
    std::size_t column = 0;  ///< from 1

    std::string text() const { return "line " + std::to_string(line) + ", column " + std::to_string(column); }
};

/// Finds line and column of any byte of a text, without reading the text again for each. The text must
/// outlive this object.
class TextPlaces {
 public:
    explicit TextPlaces(std::string_view text);

    /// @param byte counted from 0; the text's size means its end
    TextPlace of(std::size_t byte) const;

 private:
    static constexpr std::size_t kBlock = 4096;

    /// Where a block of the text begins.
    struct Begin {
        std::size_t line;
        std::size_t lineBegin;  ///< byte
    };
    void advance(Begin& begin, std::size_t from, std::size_t to) const;

    const std::string_view text_;
    std::vector<Begin> blocks_;
};

}  // namespace kelo_client
