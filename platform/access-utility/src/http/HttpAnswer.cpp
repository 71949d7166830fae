// Beast asserts that the last chunk has five bytes when it looks at it again. It has four if nothing is
// before it and the bytes come one by one.
#define BOOST_DISABLE_ASSERTS

#include "HttpAnswer.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace zebutil {

namespace {

namespace beast = boost::beast;
namespace http = boost::beast::http;

constexpr int kHttp11 = 11;
constexpr int kLowestStatus = 100;
constexpr int kLowestFinalStatus = 200;
constexpr int kSwitchingProtocols = 101;
constexpr std::size_t kFieldPunctuation = std::string_view(": \r\n").size();
// The line with a chunk's size, for each byte of the body: a chunk may be as small as that.
constexpr std::size_t kChunkLinePerByte = 8;
// Up to here a body of unknown size grows by doubling. After that its room is that of the largest body: what
// is not used of it costs no memory, whereas doubling would need old and new room at the same time.
constexpr std::size_t kSmallBody = std::size_t{64} * 1024;

std::string inBytes(std::size_t size) {
    constexpr std::size_t kibibyte = 1024;
    constexpr std::size_t mebibyte = kibibyte * kibibyte;
    return size % mebibyte == 0   ? std::to_string(size / mebibyte) + " MiB"
           : size % kibibyte == 0 ? std::to_string(size / kibibyte) + " KiB"
                                  : std::to_string(size) + " bytes";
}

}  // namespace

// Beast finds the parts of the message and checks their form. Nothing of the header is kept.
class HttpAnswer::Parser : public http::basic_parser<false> {
 public:
    explicit Parser(std::size_t largestBody) : largestBody_(largestBody) {
        body_limit(largestBody);
        header_limit(static_cast<std::uint32_t>(kLargestHeader));
        // The first put() ends behind the header, which shows its size.
        eager(false);
    }

    int status() const { return status_; }
    bool isKeptAlive() const { return version_ == kHttp11 && keep_alive(); }
    std::size_t bodySize() const { return body_.size(); }
    /// Of the header's lines behind the body, as far as they are read.
    std::size_t trailerSize() const { return trailerSize_; }
    std::string takeBody() { return std::move(body_); }
    /// Why the answer was refused, if not for its form.
    const std::string& fault() const { return fault_; }

 private:
    using View = beast::string_view;

    void on_request_impl(http::verb, View, View, int, beast::error_code&) override {}

    void on_response_impl(int status, View, int version, beast::error_code& error) override {
        status_ = status;
        version_ = version;
        if (status < kLowestStatus) {
            error = http::error::bad_status;
        }
    }

    void on_field_impl(http::field name, View text, View value, beast::error_code& error) override {
        if (is_header_done()) {
            trailerSize_ += text.size() + value.size() + kFieldPunctuation;
        }
        if (name == http::field::transfer_encoding) {
            // The body's end or content would be unknown.
            if (!beast::iequals(value, "chunked") || version_ != kHttp11) {
                fault_ = "it has a transfer encoding other than \"chunked\" with HTTP/1.1";
                error = http::error::bad_transfer_encoding;
            }
        }
    }

    void on_header_impl(beast::error_code&) override {}

    void on_body_init_impl(const boost::optional<std::uint64_t>& size, beast::error_code&) override {
        if (size) {
            body_.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(*size, largestBody_)));
        }
    }

    std::size_t on_body_impl(View bytes, beast::error_code& error) override {
        if (bytes.size() > largestBody_ - body_.size()) {
            error = http::error::body_limit;
            return 0;
        }
        if (body_.size() + bytes.size() > std::max(kSmallBody, body_.capacity())) {
            body_.reserve(largestBody_);
        }
        body_.append(bytes.data(), bytes.size());
        return bytes.size();
    }

    void on_chunk_header_impl(std::uint64_t, View, beast::error_code&) override {}

    std::size_t on_chunk_body_impl(std::uint64_t, View bytes, beast::error_code& error) override {
        return on_body_impl(bytes, error);
    }

    void on_finish_impl(beast::error_code&) override {}

    const std::size_t largestBody_;
    int status_ = 0;
    int version_ = 0;
    std::string body_;
    std::size_t trailerSize_ = 0;
    std::string fault_;
};

HttpAnswer::HttpAnswer(std::size_t largestBody)
    : largestBody_(largestBody), parser_(std::make_unique<Parser>(largestBody)) {}

HttpAnswer::~HttpAnswer() = default;

std::size_t HttpAnswer::read(std::string_view bytes) {
    std::size_t used = 0;
    while (!isComplete_ && used < bytes.size()) {
        const bool isBody = parser_->is_header_done();
        const std::size_t bodyBefore = parser_->bodySize();
        beast::error_code error;
        const std::size_t count =
            parser_->put(boost::asio::buffer(bytes.data() + used, bytes.size() - used), error);
        used += count;
        (isBody ? chunkLines_ : header_) += count - (parser_->bodySize() - bodyBefore);
        const bool isBreakingOff = error == http::error::need_more;
        requireLimits(isBreakingOff ? bytes.size() - used : 0);
        if (error == http::error::header_limit) {
            throw std::runtime_error("the answer's header is larger than " + inBytes(kLargestHeader));
        }
        if (error == http::error::body_limit) {
            throw std::runtime_error("the answer is larger than " + inBytes(largestBody_));
        }
        if (error && !isBreakingOff) {
            throw std::runtime_error("the answer is not valid HTTP: " +
                                     (parser_->fault().empty() ? error.message() : parser_->fault()));
        }
        if (parser_->is_done()) {
            finishPart();
        } else if (error) {
            break;
        }
        parser_->eager(parser_->is_header_done());
    }
    return used;
}

// Counted here, because Beast limits only what it has not read yet. `unread` is the size of a part that it
// reads as a whole, and that breaks off: a line, or the last chunk with the trailers.
void HttpAnswer::requireLimits(std::size_t unread) const {
    if (header_ + (parser_->is_header_done() ? 0 : unread) > kLargestHeader) {
        throw std::runtime_error("the answer's header is larger than " + inBytes(kLargestHeader));
    }
    if (header_ + std::max(parser_->trailerSize(), unread) > kLargestHeader) {
        throw std::runtime_error(
            "the answer's header and trailers, or a line of its chunks, are larger than " +
            inBytes(kLargestHeader));
    }
    if (chunkLines_ > kLargestHeader + kChunkLinePerByte * parser_->bodySize()) {
        throw std::runtime_error("the answer has more bytes for the sizes of its chunks than in them");
    }
}

void HttpAnswer::finishPart() {
    if (parser_->status() >= kLowestFinalStatus) {
        isComplete_ = true;
        return;
    }
    if (parser_->status() == kSwitchingProtocols) {
        throw std::runtime_error("the server has switched to another protocol without being asked");
    }
    if (++interimAnswers_ > kMostInterimAnswers) {
        throw std::runtime_error("the server has sent more than " + std::to_string(kMostInterimAnswers) +
                                 " interim answers");
    }
    parser_ = std::make_unique<Parser>(largestBody_);
}

void HttpAnswer::end() {
    beast::error_code error = http::error::partial_message;
    if (parser_->got_some()) {
        parser_->put_eof(error);
    }
    if (error || !parser_->is_done()) {
        throw std::runtime_error("the connection ended within the answer, after " +
                                 std::to_string(parser_->bodySize()) + " bytes of its body");
    }
    finishPart();
}

bool HttpAnswer::isKeptAlive() const {
    return parser_->isKeptAlive();
}

int HttpAnswer::status() const {
    return parser_->status();
}

std::string HttpAnswer::takeBody() {
    return parser_->takeBody();
}

}  // namespace zebutil
