#include "BusServer.h"

#include <algorithm>
#include <boost/beast/websocket/rfc6455.hpp>
#include <chrono>
#include <stdexcept>

namespace zebbussim {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

constexpr std::chrono::milliseconds kAcceptPause{100};
/// Connections that wait for a request make room for new ones beyond this number.
constexpr std::size_t kMaximumConnections = 1024;

tcp::acceptor listen(asio::io_context& ioContext, const std::string& address, std::uint16_t port) {
    try {
        return tcp::acceptor(ioContext, tcp::endpoint(asio::ip::make_address(address), port));
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error("Cannot listen on " + address + " port " + std::to_string(port) + ": " +
                                 error.code().message());
    }
}

}  // namespace

BusServer::BusServer(asio::io_context& ioContext, BusContext& busContext, const std::string& address,
                     std::uint16_t port, std::optional<asio::ssl::context> tlsContext, Events serverEvents)
    : context_(busContext),
      events_(std::move(serverEvents)),
      tlsContext_(std::move(tlsContext)),
      acceptor_(listen(ioContext, address, port)),
      retryTimer_(ioContext) {
    accept();
}

void BusServer::accept() {
    acceptor_.async_accept(
        [this](const ErrorCode& error, tcp::socket socket) { accepted(error, std::move(socket)); });
}

void BusServer::accepted(const ErrorCode& error, tcp::socket&& socket) {
    if (closing_) {
        return;
    }
    if (error) {
        const bool isOutOfDescriptors = error == boost::system::errc::too_many_files_open ||
                                        error == boost::system::errc::too_many_files_open_in_system;
        isOutOfDescriptors&& makeRoom() ? accept() : retryLater();
        return;
    }
    if (connections_.size() >= kMaximumConnections) {
        makeRoom();
    }
    ErrorCode ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(asio::socket_base::keep_alive(true), ignored);
    const auto connection = std::make_shared<HttpConnection>(
        BusStream(std::move(socket), tlsContext_ ? &*tlsContext_ : nullptr), context_,
        HttpConnection::Events{[this](BusStream&& upgradedStream, const std::string& service,
                                      HttpConnection::Request&& request) {
                                   upgraded(std::move(upgradedStream), service, std::move(request));
                               },
                               [this](const std::shared_ptr<HttpConnection>& ended) {
                                   connections_.erase(ended);
                                   checkClosed();
                               }});
    connections_.insert(connection);
    connection->start();
    accept();
}

void BusServer::retryLater() {
    // An immediate retry would only spin.
    retryTimer_.expires_after(kAcceptPause);
    retryTimer_.async_wait([this](const ErrorCode& error) {
        if (!error) {
            accept();
        }
    });
}

bool BusServer::makeRoom() {
    std::shared_ptr<HttpConnection> longest;
    for (const auto& connection : connections_) {
        const auto since = connection->waitingSince();
        if (since && (!longest || *since < *longest->waitingSince())) {
            longest = connection;
        }
    }
    if (longest) {
        longest->close();
    }
    return longest != nullptr;
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
    peer->accept(std::move(request));
}

void BusServer::close() {
    closing_ = true;
    ErrorCode ignored;
    acceptor_.close(ignored);
    retryTimer_.cancel();
    // Copies, because connections leave the sets when they end.
    const auto openConnections = connections_;
    for (const auto& connection : openConnections) {
        connection->close();
    }
    const auto openPeers = peers_;
    for (const auto& peer : openPeers) {
        peer->close(boost::beast::websocket::close_code::going_away);
    }
    checkClosed();
}

void BusServer::checkClosed() {
    if (closing_ && connections_.empty() && peers_.empty()) {
        events_.closed();
    }
}

std::vector<std::shared_ptr<WebSocketPeer>> BusServer::peersOf(const std::string& service) const {
    std::vector<std::shared_ptr<WebSocketPeer>> found;
    std::copy_if(peers_.begin(), peers_.end(), std::back_inserter(found),
                 [&](const std::shared_ptr<WebSocketPeer>& peer) { return peer->service() == service; });
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
