#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace bench {

/// Splits the bytes that a WebSocket client sends into frames. Does not support fragmented messages.
class FrameReader {
 public:
    enum Opcode : unsigned { TEXT = 1, CLOSE = 8, PING = 9, PONG = 10 };
    struct Frame {
        unsigned opcode;
        std::string payload;
    };

    void append(const char* bytes, std::size_t size) { buffer_.append(bytes, size); }
    std::optional<Frame> next();

 private:
    std::string buffer_;
};

/// A server's frame.
std::string frame(unsigned opcode, const std::string& payload);

/// Appends the header of a server's text frame.
void appendTextHeader(std::string& out, std::size_t payloadSize);

}  // namespace bench
