#include "LiveChannel.h"

#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <utility>

namespace zebbussim {

namespace asio = boost::asio;

namespace {

constexpr std::size_t kLongestQueue = std::size_t{16} * 1024 * 1024;

constexpr const char* kHead =
    "HTTP/1.1 200 OK\r\n"
    "Server: zeb-bus-sim\r\n"
    "Content-Type: text/event-stream\r\n"
    "Cache-Control: no-store\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Connection: close\r\n"
    "\r\n"
    "retry: 500\n\n";

}  // namespace

LiveChannel::LiveChannel(BusStream&& stream, LiveFeed& feed, Ended ended)
    : stream_(std::move(stream)), feed_(feed), ended_(std::move(ended)) {}

void LiveChannel::start() {
    send(std::make_shared<const std::string>(kHead));
    feed_.add(*this);
    readToEnd();
}

void LiveChannel::send(const SharedText& text) {
    if (isOver_ || queueSize_ > kLongestQueue) {
        return;
    }
    queue_.push_back(text);
    queueSize_ += text->size();
    if (queueSize_ > kLongestQueue) {
        // Later: the feed is telling its readers.
        asio::post(stream_.get_executor(),
                   linkedTo("closing a live channel", [self = shared_from_this()] { self->close(); }));
    } else if (queue_.size() == 1) {
        writeNext();
    }
}

void LiveChannel::writeNext() {
    asio::async_write(stream_, asio::buffer(*queue_.front()),
                      linkedTo("writing a live event", [self = shared_from_this(), text = queue_.front()](
                                                           const ErrorCode& error, std::size_t) {
                          if (self->isOver_) {
                              return;
                          }
                          if (error) {
                              self->close();
                              return;
                          }
                          self->queueSize_ -= text->size();
                          self->queue_.pop_front();
                          if (!self->queue_.empty()) {
                              self->writeNext();
                          }
                      }));
}

// Only the end matters: the client has nothing more to say.
void LiveChannel::readToEnd() {
    stream_.async_read_some(
        asio::buffer(ignored_),
        linkedTo("reading a live channel", [self = shared_from_this()](const ErrorCode& error, std::size_t) {
            if (!self->isOver_) {
                error ? self->close() : self->readToEnd();
            }
        }));
}

void LiveChannel::close() {
    if (isOver_) {
        return;
    }
    isOver_ = true;
    feed_.remove(*this);
    stream_.close();
    ended_(shared_from_this());
}

}  // namespace zebbussim
