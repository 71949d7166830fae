#include "FrameReader.h"

namespace bench {

namespace {

constexpr unsigned kLastFragment = 0x80;
constexpr std::size_t kMaskSize = 4;

void appendBigEndian(std::string& out, std::size_t number, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        out += static_cast<char>(number >> shift & 0xff);
    }
}

void appendHeader(std::string& out, unsigned opcode, std::size_t payloadSize) {
    out += static_cast<char>(kLastFragment | opcode);
    if (payloadSize < 126) {
        out += static_cast<char>(payloadSize);
    } else if (payloadSize < 0x10000) {
        out += static_cast<char>(126);
        appendBigEndian(out, payloadSize, 2);
    } else {
        out += static_cast<char>(127);
        appendBigEndian(out, payloadSize, 8);
    }
}

}  // namespace

std::optional<FrameReader::Frame> FrameReader::next() {
    const auto byte = [this](std::size_t at) { return static_cast<unsigned char>(buffer_[at]); };
    if (buffer_.size() < 2) {
        return std::nullopt;
    }
    std::size_t size = byte(1) & 0x7fU;
    const std::size_t sizeBytes = size == 126 ? 2 : size == 127 ? 8 : 0;
    const std::size_t header = 2 + sizeBytes + kMaskSize;
    if (buffer_.size() < header) {
        return std::nullopt;
    }
    if (sizeBytes > 0) {
        size = 0;
        for (std::size_t i = 0; i < sizeBytes; ++i) {
            size = size << 8 | byte(2 + i);
        }
    }
    if (buffer_.size() < header + size) {
        return std::nullopt;
    }
    Frame result{byte(0) & 0xfU, buffer_.substr(header, size)};
    for (std::size_t i = 0; i < size; ++i) {
        result.payload[i] =
            static_cast<char>(result.payload[i] ^ buffer_[header - kMaskSize + i % kMaskSize]);
    }
    buffer_.erase(0, header + size);
    return result;
}

std::string frame(unsigned opcode, const std::string& payload) {
    std::string out;
    appendHeader(out, opcode, payload.size());
    return out += payload;
}

void appendTextHeader(std::string& out, std::size_t payloadSize) {
    appendHeader(out, FrameReader::TEXT, payloadSize);
}

}  // namespace bench
