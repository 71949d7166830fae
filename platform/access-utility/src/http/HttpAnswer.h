#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace zebutil {

/// Reads one answer out of the bytes that a server sends, as RFC 9110 and 9112 describe it: interim answers
/// (1xx) are skipped, and an answer whose end would be doubtful is refused. Takes no byte behind the answer.
class HttpAnswer {
 public:
    /// With the headers of interim answers and with trailers.
    static constexpr std::size_t kLargestHeader = std::size_t{64} * 1024;
    static constexpr int kMostInterimAnswers = 16;

    /// @param largestBody in bytes
    explicit HttpAnswer(std::size_t largestBody);
    ~HttpAnswer();
    HttpAnswer(const HttpAnswer&) = delete;
    HttpAnswer& operator=(const HttpAnswer&) = delete;

    /// Reads on. Returns how many bytes it has used up; the others must be given again, with more behind
    /// them.
    /// @throws std::runtime_error if the answer is refused
    std::size_t read(std::string_view bytes);

    /// The connection has ended.
    /// @throws std::runtime_error if the answer is not complete
    void end();

    bool isComplete() const { return isComplete_; }

    /// Whether the connection may be used again after the answer.
    bool isKeptAlive() const;

    int status() const;
    std::string takeBody();

 private:
    class Parser;

    void finishPart();
    void requireLimits(std::size_t unread) const;

    const std::size_t largestBody_;
    std::unique_ptr<Parser> parser_;
    std::size_t header_ = 0;      ///< its size, with those of interim answers
    std::size_t chunkLines_ = 0;  ///< their size, with that of the trailers
    int interimAnswers_ = 0;
    bool isComplete_ = false;
};

}  // namespace zebutil
