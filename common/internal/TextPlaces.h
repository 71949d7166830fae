#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace internal {

/// A place in a text as an editor shows it.
struct TextPlace {
    std::size_t line = 0;    ///< from 1
    std::size_t column = 0;  ///< from 1

    std::string text() const { return "line " + std::to_string(line) + ", column " + std::to_string(column); }
};

/// Finds line and column of any byte of a text, without reading the text again for each. The text must
/// outlive this object.
class TextPlaces {
 public:
    explicit TextPlaces(std::string_view text) : text_(text) {
        blocks_.reserve(text.size() / kBlock + 1);
        Begin begin{1, 0};
        for (std::size_t block = 0;; block += kBlock) {
            blocks_.push_back(begin);
            if (text.size() - block < kBlock) {
                return;
            }
            advance(begin, block, block + kBlock);
        }
    }

    /// The column counts bytes.
    /// @param byte counted from 0; the text's size means its end
    TextPlace of(std::size_t byte) const {
        byte = std::min(byte, text_.size());
        Begin begin = blocks_[byte / kBlock];
        advance(begin, byte / kBlock * kBlock, byte);
        return {begin.line, byte - begin.lineBegin + 1};
    }

    /// The same, but the column counts the characters of UTF-8. Reads the line up to there.
    TextPlace inCharacters(std::size_t byte) const {
        TextPlace place = of(byte);
        const std::string_view before =
            text_.substr(std::min(byte, text_.size()) - (place.column - 1), place.column - 1);
        const auto inside = std::count_if(before.begin(), before.end(), [](char character) {
            return (static_cast<unsigned char>(character) & 0xC0U) == 0x80;
        });
        place.column -= static_cast<std::size_t>(inside);
        return place;
    }

 private:
    static constexpr std::size_t kBlock = 4096;

    /// Where a block of the text begins.
    struct Begin {
        std::size_t line;
        std::size_t lineBegin;  ///< byte
    };
    void advance(Begin& begin, std::size_t from, std::size_t to) const {
        for (std::size_t byte = from; byte < to; ++byte) {
            if (text_[byte] == '\n') {
                ++begin.line;
                begin.lineBegin = byte + 1;
            }
        }
    }

    const std::string_view text_;
    std::vector<Begin> blocks_;
};

}  // namespace internal
