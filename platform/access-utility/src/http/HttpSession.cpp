#include <zebutil/BaseUri.h>
#include <zebutil/HttpSession.h>
#include <zebutil/UserAgent.h>

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "HttpAnswer.h"
#include "ServerStream.h"

namespace zebutil {

namespace {

using Clock = std::chrono::steady_clock;
using Kind = TransportError::Kind;

// Servers close connections that are idle for longer.
constexpr std::chrono::seconds kLongestIdleTime{30};
// That a kept connection has already ended shows at once. If it takes longer, the server has taken the
// request.
constexpr std::chrono::milliseconds kSoon{500};

std::string textOf(const HttpSession::Request& request, const std::string& hostHeader) {
    const bool isTarget = !request.target.empty() && request.target.front() == '/' &&
                          std::all_of(request.target.begin(), request.target.end(), [](char character) {
                              return character > ' ' && character <= '~' && character != '#';
                          });
    if (!isTarget) {
        throw std::invalid_argument(readableAddress(request.target) + " is not a percent-encoded path");
    }
    std::string text = request.method + " " + request.target + " HTTP/1.1\r\nHost: " + hostHeader +
                       "\r\nUser-Agent: " + userAgent() +
                       "\r\nAccept: application/json\r\nConnection: keep-alive\r\n";
    if (request.method != "GET") {
        text.append("Content-Type: application/json\r\nContent-Length: ")
            .append(std::to_string(request.body.size()))
            .append("\r\n");
    }
    return text.append("\r\n").append(request.body);
}

// Whether executing a request twice does the same as executing it once (RFC 9110, section 9.2.2).
bool isIdempotent(const std::string& method) {
    return method == "GET" || method == "PUT" || method == "DELETE";
}

}  // namespace

class HttpSession::Impl {
 public:
    Impl(const BaseUri& server, const std::string& service, Addresses addresses)
        : hostHeader_(server.hostHeader()), addresses_(std::move(addresses)), stream_(server, service) {}

    Answer exchange(const Request& request, Deadline deadline, std::size_t largestAnswer) {
        const std::string text = textOf(request, hostHeader_);
        if (Clock::now() >= deadline) {
            throw TransportError(Kind::Late, "the time limit was over before the request had its turn");
        }
        try {
            if (stream_.isOpen() && Clock::now() < idleEnd_ && stream_.isQuiet()) {
                const auto begin = Clock::now();
                try {
                    return exchangeOnce(text, deadline, largestAnswer);
                } catch (const TransportError& error) {
                    if (Clock::now() > begin + kSoon || !canBeRepeated(request, error)) {
                        throw;
                    }
                }
            }
            connect(deadline);
            return exchangeOnce(text, deadline, largestAnswer);
        } catch (...) {
            stream_.close();
            throw;
        }
    }

    void cancel() { stream_.cancel(); }

 private:
    // Whether the connection has ended before the answer, and executing the request twice does no harm. A
    // server that has ended the connection may still have executed it: nothing tells how much it has read.
    bool canBeRepeated(const Request& request, const TransportError& error) const {
        return isIdempotent(request.method) && !hasAnswerBegun_ &&
               (error.kind() == Kind::Ended || error.kind() == Kind::Reset);
    }

    void connect(Deadline deadline) {
        stream_.close();
        const std::vector<std::string> addresses = addresses_(deadline);
        std::optional<TransportError> failure;
        for (std::size_t tried = 0; tried < addresses.size(); ++tried) {
            try {
                // One silent address must not take the time of all others.
                const auto now = Clock::now();
                const auto share = (deadline - now) / static_cast<int>(addresses.size() - tried);
                stream_.open(addresses[tried], tried + 1 == addresses.size() ? deadline : now + share);
                return;
            } catch (const TransportError& error) {
                if (error.kind() == Kind::Cancelled) {
                    throw;
                }
                failure.emplace(error);
            }
        }
        if (failure) {
            throw TransportError(*failure);
        }
        throw std::runtime_error("the server has no address");
    }

    Answer exchangeOnce(const std::string& text, Deadline deadline, std::size_t largestAnswer) {
        hasAnswerBegun_ = false;
        stream_.send(text, deadline);

        HttpAnswer answer(largestAnswer);
        std::string waiting;
        std::array<char, 16384> chunk{};
        while (!answer.isComplete()) {
            const std::size_t size = receive(chunk, deadline);
            if (size == 0) {
                if (!hasAnswerBegun_) {
                    throw TransportError(Kind::Ended, "the server closed the connection without an answer");
                }
                answer.end();
                break;
            }
            hasAnswerBegun_ = true;
            waiting.append(chunk.data(), size);
            waiting.erase(0, answer.read(waiting));
        }
        // What stands behind the answer is not the answer to the next request.
        if (answer.isKeptAlive() && waiting.empty()) {
            idleEnd_ = Clock::now() + kLongestIdleTime;
        } else {
            stream_.close();
        }
        return {answer.status(), answer.takeBody()};
    }

    template <typename Chunk>
    std::size_t receive(Chunk& chunk, Deadline deadline) {
        try {
            return stream_.receive(chunk.data(), chunk.size(), deadline);
        } catch (const TransportError& error) {
            if (error.kind() == Kind::Late) {
                throw TransportError(Kind::Late, "the answer was not complete within the time limit");
            }
            throw;
        }
    }

    const std::string hostHeader_;
    const Addresses addresses_;
    ServerStream stream_;
    Clock::time_point idleEnd_;
    bool hasAnswerBegun_ = false;
};

HttpSession::HttpSession(const BaseUri& server, const std::string& service, Addresses addresses)
    : impl_(std::make_unique<Impl>(server, service, std::move(addresses))) {}

HttpSession::~HttpSession() = default;

HttpSession::Answer HttpSession::exchange(const Request& request, Deadline deadline,
                                          std::size_t largestAnswer) {
    return impl_->exchange(request, deadline, largestAnswer);
}

void HttpSession::cancel() {
    impl_->cancel();
}

}  // namespace zebutil
