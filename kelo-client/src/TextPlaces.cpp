#include "TextPlaces.h"

#include <algorithm>

namespace kelo_client {

TextPlaces::TextPlaces(std::string_view text) : text_(text) {
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

TextPlace TextPlaces::of(std::size_t byte) const {
    byte = std::min(byte, text_.size());
    Begin begin = blocks_[byte / kBlock];
    advance(begin, byte / kBlock * kBlock, byte);
    return {begin.line, byte - begin.lineBegin + 1};
}

void TextPlaces::advance(Begin& begin, std::size_t from, std::size_t to) const {
    for (std::size_t byte = from; byte < to; ++byte) {
        if (text_[byte] == '\n') {
            ++begin.line;
            begin.lineBegin = byte + 1;
        }
    }
}

}  // namespace kelo_client
