#include "Bus.h"

#include <unistd.h>

#include <algorithm>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/read_until.hpp>
#include <chrono>
#include <istream>
#include <string>
#include <utility>

#include "MonotonicClock.h"
#include "Peer.h"

namespace bench {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

Bus::Bus(Departures& departures, std::size_t elements)
    : departures_(departures),
      answers_(elements, departures.size()),
      acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)),
      timer_(context_),
      input_(context_, ::dup(STDIN_FILENO)) {}

Bus::~Bus() = default;

void Bus::run() {
    accept();
    readCommand();
    tell("ready", JsonText().add("address", std::to_string(acceptor_.local_endpoint().port())));
    context_.run();
}

void Bus::accept() {
    acceptor_.async_accept([this](const error_code& error, tcp::socket socket) {
        if (!error) {
            std::make_shared<Peer>(*this, std::move(socket))->start();
        }
        accept();
    });
}

std::size_t Bus::join(const std::shared_ptr<Peer>& peer) {
    peers_.push_back(peer);
    return joined_++;
}

void Bus::leave(const std::shared_ptr<Peer>& peer) {
    peers_.erase(std::remove(peers_.begin(), peers_.end(), peer), peers_.end());
}

void Bus::readCommand() {
    asio::async_read_until(input_, command_, '\n', [this](const error_code& error, std::size_t) {
        if (error) {
            context_.stop();
            return;
        }
        std::string line;
        std::istream stream(&command_);
        std::getline(stream, line);
        if (line == "start") {
            begin();
        }
        readCommand();
    });
}

void Bus::begin() {
    receivers_ = peers_;
    next_ = 0;
    departures_.begin();
    pace_.emplace(monotonicNanoseconds(), departures_.rate());
    if (pace_->isFlood()) {
        flood();
    } else {
        sendNext();
    }
}

void Bus::sendNext() {
    for (; next_ < departures_.count() && pace_->due(next_) <= monotonicNanoseconds(); ++next_) {
        for (const auto& peer : receivers_) {
            peer->sendChange(Departures::isSwitchedOn(next_));
        }
    }
    if (next_ == departures_.count()) {
        end();
        return;
    }
    // steady_clock is CLOCK_MONOTONIC.
    timer_.expires_at(std::chrono::steady_clock::time_point(std::chrono::nanoseconds(pace_->due(next_))));
    timer_.async_wait([this](const error_code& error) {
        if (!error) {
            sendNext();
        }
    });
}

void Bus::flood() {
    floods_ = receivers_.size();
    for (const auto& peer : receivers_) {
        peer->flood(departures_.count(), [this] {
            if (--floods_ == 0) {
                end();
            }
        });
    }
}

void Bus::end() {
    std::int64_t messages = 0;
    for (const auto& peer : receivers_) {
        messages += peer->sent();
    }
    departures_.endAndTell(messages);
    receivers_.clear();
}

}  // namespace bench
