// Raw HTTP answers: the input is everything that the server sends before it closes.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "ClampRequests.h"
#include "http/HttpAnswer.h"

namespace {

constexpr std::size_t kLargestBody = std::size_t{16} * 1024;

struct Outcome {
    int status;
    std::string body;
    std::size_t behind;
};

// None if the answer was refused.
std::optional<Outcome> read(std::string_view bytes, std::size_t pieceSize) {
    zebutil::HttpAnswer answer(kLargestBody);
    std::string waiting;
    try {
        while (!bytes.empty() && !answer.isComplete()) {
            const std::string_view piece = bytes.substr(0, pieceSize);
            bytes.remove_prefix(piece.size());
            waiting.append(piece);
            const std::size_t used = answer.read(waiting);
            fuzz::require(used <= waiting.size(), "no more is used than there is");
            waiting.erase(0, used);
        }
        if (!answer.isComplete()) {
            answer.end();
        }
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    std::string body = answer.takeBody();
    fuzz::require(body.size() <= kLargestBody, "a body keeps its limit");
    fuzz::require(answer.status() >= 200 && answer.status() <= 999, "an answer has a final status");
    return Outcome{answer.status(), std::move(body), waiting.size() + bytes.size()};
}

class AnswerOfBytes : public zeb::ITpAccess {
 public:
    explicit AnswerOfBytes(std::optional<Outcome> outcome) : outcome_(std::move(outcome)) {}
    zeb::ZebResponse get(const std::string&, const std::string&, const Query&, Deadline) override {
        if (!outcome_) {
            throw std::runtime_error("refused");
        }
        return {outcome_->status, outcome_->body};
    }
    zeb::ZebResponse post(const std::string&, const std::string&, const std::string&, Deadline) override {
        return get({}, {}, {}, {});
    }

 private:
    const std::optional<Outcome> outcome_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto atOnce = read(bytes, size);
    const auto inPieces = read(bytes, 1);
    if (size < zebutil::HttpAnswer::kLargestHeader) {
        fuzz::require(atOnce.has_value() == inPieces.has_value(), "how the bytes arrive does not matter");
    }
    if (atOnce && inPieces) {
        fuzz::require(atOnce->status == inPieces->status && atOnce->body == inPieces->body &&
                          atOnce->behind == inPieces->behind,
                      "how the bytes arrive makes no difference");
    }
    fuzz::findClamps(std::make_shared<AnswerOfBytes>(atOnce));
    return 0;
}
