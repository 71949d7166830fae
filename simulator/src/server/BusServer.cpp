#include "BusServer.h"

#include <fcntl.h>

#include <algorithm>
#include <boost/beast/websocket/rfc6455.hpp>
#include <chrono>
#include <cstdio>
#include <optional>
#include <stdexcept>

#include "bus/Bus.h"
#include "json/Json.h"

namespace zebbussim {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

constexpr std::chrono::milliseconds kAcceptPause{100};
/// A connection that has done nothing for this time makes room for another one. Less would let those who come
/// too fast close each other's connections before they are served.
constexpr std::chrono::seconds kIdleTime{1};

bool isIdle(const std::optional<std::chrono::steady_clock::time_point>& since) {
    return since && std::chrono::steady_clock::now() - *since >= kIdleTime;
}

/// The process may start other programs, which would keep the port and the clients.
void closeOnExec(int descriptor) {
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

tcp::acceptor listen(asio::io_context& ioContext, const std::string& address, std::uint16_t port) {
    try {
        tcp::acceptor acceptor(ioContext, tcp::endpoint(asio::ip::make_address(address), port));
        closeOnExec(acceptor.native_handle());
        return acceptor;
    } catch (const boost::system::system_error& error) {
        const bool isTaken = error.code() == boost::asio::error::address_in_use;
        throw std::runtime_error("Cannot listen on " + address + " port " + std::to_string(port) + ": " +
                                 error.code().message() +
                                 (isTaken ? "; choose another port, or 0 for any that is free" : ""));
    }
}

}  // namespace

BusServer::BusServer(asio::io_context& ioContext, Bus& bus, const std::string& address, std::uint16_t port,
                     std::optional<asio::ssl::context> tlsContext, Events serverEvents)
    : context_(bus.context()),
      events_(std::move(serverEvents)),
      liveFeed_(bus),
      tlsContext_(std::move(tlsContext)),
      acceptor_(listen(ioContext, address, port)),
      endpoint_(acceptor_.local_endpoint()),
      retryTimer_(ioContext),
      room_(roomForConnections()) {
    acceptor_.non_blocking(true);
    accept();
}

void BusServer::accept() {
    // Waits first: without a free descriptor an attempt to accept fails although nobody is waiting.
    acceptor_.async_wait(tcp::acceptor::wait_read, [this](const ErrorCode& error) {
        accepting_ = false;
        if (!closing_ && listening_) {
            error ? accept() : acceptWaiting();
        }
    });
    accepting_ = true;
}

void BusServer::acceptWaiting() {
    const bool isFull = connections_.size() + peers_.size() + channels_.size() >= room_.connections;
    if (isFull && !makeRoom()) {
        retryLater();
        return;
    }
    ErrorCode error;
    tcp::socket socket = acceptor_.accept(error);
    const bool isOutOfDescriptors = error == boost::system::errc::too_many_files_open ||
                                    error == boost::system::errc::too_many_files_open_in_system;
    if (!error) {
        accepted(std::move(socket));
        accept();
    } else if (error == asio::error::would_block || error == asio::error::connection_aborted ||
               (isOutOfDescriptors && makeRoom())) {
        accept();
    } else {
        retryLater();
    }
}

void BusServer::accepted(tcp::socket&& socket) {
    closeOnExec(socket.native_handle());
    ErrorCode ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(asio::socket_base::keep_alive(true), ignored);
    const auto connection = std::make_shared<HttpConnection>(
        BusStream(std::move(socket), tlsContext_ ? &*tlsContext_ : nullptr, context_.line), context_,
        HttpConnection::Events{[this](const std::string& service) { admit(service); },
                               [this](BusStream&& upgradedStream, const std::string& service,
                                      HttpConnection::Request&& request) {
                                   upgraded(std::move(upgradedStream), service, std::move(request));
                               },
                               [this](BusStream&& liveStream) { goLive(std::move(liveStream)); },
                               [this](const std::shared_ptr<HttpConnection>& ended) {
                                   connections_.erase(ended);
                                   checkClosed();
                               }});
    connections_.insert(connection);
    Link link(connection, "accepting a connection");
    connection->start();
    link.release();
}

void BusServer::retryLater() {
    // An immediate retry would only spin.
    retryTimer_.expires_after(kAcceptPause);
    retryTimer_.async_wait([this](const ErrorCode& error) {
        accepting_ = false;
        if (!error) {
            accept();
        }
    });
    accepting_ = true;
}

bool BusServer::makeRoom() {
    std::shared_ptr<HttpConnection> longest;
    for (const auto& connection : connections_) {
        const auto since = connection->waitingSince();
        if (isIdle(since) && (!longest || *since < *longest->waitingSince())) {
            longest = connection;
        }
    }
    const std::shared_ptr<WebSocketPeer> peer = longestIdlePeer(std::nullopt);
    if (peer && (!longest || *peer->waitingSince() < *longest->waitingSince())) {
        peer->drop();
    } else if (longest) {
        longest->close();
    }
    return peer || longest;
}

std::shared_ptr<WebSocketPeer> BusServer::longestIdlePeer(const std::optional<std::string>& service) const {
    std::shared_ptr<WebSocketPeer> longest;
    for (const auto& peer : peers_) {
        const auto since = peer->waitingSince();
        if ((!service || peer->service() == *service) && isIdle(since) &&
            (!longest || *since < *longest->waitingSince())) {
            longest = peer;
        }
    }
    return longest;
}

bool BusServer::makeRoomForWebSocket(const std::optional<std::string>& service) {
    const std::shared_ptr<WebSocketPeer> longest = longestIdlePeer(service);
    if (longest) {
        longest->drop();
    }
    return longest != nullptr;
}

void BusServer::admit(const std::string& service) {
    const auto ofService = [&](const std::shared_ptr<WebSocketPeer>& peer) {
        return peer->service() == service;
    };
    const auto count = static_cast<std::size_t>(std::count_if(peers_.begin(), peers_.end(), ofService));
    if (count >= room_.webSocketsOfAService && !makeRoomForWebSocket(service)) {
        throw BusError::unavailable("The service " + excerpt(service) + " has " + std::to_string(count) +
                                    " WebSockets and takes no more");
    }
    if (peers_.size() >= room_.webSockets && !makeRoomForWebSocket(std::nullopt)) {
        throw BusError::unavailable("The bus has " + std::to_string(peers_.size()) +
                                    " WebSockets and takes no more");
    }
}

void BusServer::upgraded(BusStream&& stream, const std::string& service, WebSocketPeer::Request&& request) {
    const auto peer = std::make_shared<WebSocketPeer>(
        std::move(stream), context_, service,
        WebSocketPeer::Events{[this](const std::shared_ptr<WebSocketPeer>& ended) {
                                  peers_.erase(ended);
                                  events_.queueShrank();
                                  checkClosed();
                              },
                              [this] { events_.queueShrank(); }});
    peers_.insert(peer);
    Link link(peer, "accepting a WebSocket");
    peer->accept(std::move(request));
    link.release();
}

void BusServer::goLive(BusStream&& stream) {
    const auto channel = std::make_shared<LiveChannel>(std::move(stream), liveFeed_,
                                                       [this](const std::shared_ptr<LiveChannel>& ended) {
                                                           channels_.erase(ended);
                                                           checkClosed();
                                                       });
    channels_.insert(channel);
    Link link(channel, "following the bus live");
    channel->start();
    link.release();
}

void BusServer::close() {
    closing_ = true;
    ErrorCode ignored;
    acceptor_.close(ignored);
    retryTimer_.cancel();
    closeAll();
}

void BusServer::stopListening(bool isOrderly) {
    listening_ = false;
    ErrorCode ignored;
    acceptor_.close(ignored);
    // Bound and not listening, the socket keeps the port, and the system refuses connections.
    acceptor_.open(endpoint_.protocol());
    closeOnExec(acceptor_.native_handle());
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind(endpoint_);
    const auto connections = connections_;
    for (const auto& connection : connections) {
        if (!connection->isOfControl()) {
            connection->close();
        }
    }
    for (const auto& peer : peersOf({})) {
        isOrderly ? peer->close(boost::beast::websocket::close_code::going_away) : peer->drop();
    }
}

void BusServer::listenAgain() {
    if (listening_ || closing_) {
        return;
    }
    listening_ = true;
    acceptor_.listen();
    acceptor_.non_blocking(true);
    if (!accepting_) {
        accept();
    }
}

void BusServer::closeAll() {
    // A connection leaves its set when it ends.
    while (!connections_.empty()) {
        (*connections_.begin())->close();
    }
    while (!channels_.empty()) {
        (*channels_.begin())->close();
    }
    for (auto next = peers_.begin(); next != peers_.end();) {
        const std::shared_ptr<WebSocketPeer> peer = *next++;
        Link link(peer, "closing a WebSocket");
        peer->close(boost::beast::websocket::close_code::going_away);
        link.release();
    }
    checkClosed();
}

void BusServer::repair(const char* problem) {
    const char* activity = nullptr;
    for (auto next = connections_.begin(); next != connections_.end();) {
        const std::shared_ptr<HttpConnection> connection = *next++;
        if (connection->lostWhile() != nullptr) {
            activity = connection->lostWhile();
            connection->close();
        }
    }
    for (auto next = peers_.begin(); next != peers_.end();) {
        const std::shared_ptr<WebSocketPeer> peer = *next++;
        if (peer->lostWhile() != nullptr) {
            activity = peer->lostWhile();
            peer->drop();
        }
    }
    for (auto next = channels_.begin(); next != channels_.end();) {
        const std::shared_ptr<LiveChannel> channel = *next++;
        if (channel->lostWhile() != nullptr) {
            activity = channel->lostWhile();
            channel->close();
        }
    }
    if (closing_) {
        closeAll();
    } else if (!accepting_ && listening_) {
        activity = activity == nullptr ? "accepting a connection" : activity;
        accept();
    }
    report(problem, activity == nullptr ? "serving" : activity);
}

void BusServer::report(const char* problem, const char* activity) {
    constexpr std::size_t kMaximumCauses = 100;
    const std::string cause = std::string(problem) + " while " + activity;
    if (reported_.size() < kMaximumCauses && reported_.insert(cause).second) {
        std::fprintf(stderr, "zeb-bus-sim: %s; the connection is closed (said once)\n", cause.c_str());
    }
}

void BusServer::checkClosed() {
    if (closing_ && connections_.empty() && peers_.empty() && channels_.empty()) {
        events_.closed();
    }
}

std::vector<std::shared_ptr<WebSocketPeer>> BusServer::peersOf(const std::string& service) const {
    std::vector<std::shared_ptr<WebSocketPeer>> found;
    std::copy_if(peers_.begin(), peers_.end(), std::back_inserter(found),
                 [&](const std::shared_ptr<WebSocketPeer>& peer) {
                     return service.empty() || peer->service() == service;
                 });
    return found;
}

std::size_t BusServer::longestQueue() const {
    std::size_t longest = 0;
    for (const auto& peer : peers_) {
        longest = std::max(longest, peer->queuedBytes());
    }
    return longest;
}

}  // namespace zebbussim
