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
        Position position;
        for (std::size_t block = 0;; block += kBlock) {
            blocks_.push_back(position);
            if (text.size() - block < kBlock) {
                return;
            }
            advance(position, block, block + kBlock);
        }
    }

    /// The column counts bytes.
    /// @param byte counted from 0; the text's size means its end
    TextPlace of(std::size_t byte) const {
        const Position position = positionOf(byte);
        return {position.line, std::min(byte, text_.size()) - position.lineBegin + 1};
    }

    /// The same, but the column counts the characters of UTF-8.
    TextPlace inCharacters(std::size_t byte) const {
        const Position position = positionOf(byte);
        return {position.line,
                std::min(byte, text_.size()) - position.lineBegin - position.continuations + 1};
    }

 private:
    static constexpr std::size_t kBlock = 4096;

    struct Position {
        std::size_t line = 1;
        std::size_t lineBegin = 0;      ///< byte
        std::size_t continuations = 0;  ///< bytes since the line began that continue a character
    };

    Position positionOf(std::size_t byte) const {
        byte = std::min(byte, text_.size());
        Position position = blocks_[byte / kBlock];
        advance(position, byte / kBlock * kBlock, byte);
        return position;
    }

    void advance(Position& position, std::size_t from, std::size_t to) const {
        for (std::size_t byte = from; byte < to; ++byte) {
            if (text_[byte] == '\n') {
                position = {position.line + 1, byte + 1, 0};
            } else if ((static_cast<unsigned char>(text_[byte]) & 0xC0U) == 0x80) {
                ++position.continuations;
            }
        }
    }

    const std::string_view text_;
    std::vector<Position> blocks_;  ///< where each block of the text begins
};

}  // namespace internal
