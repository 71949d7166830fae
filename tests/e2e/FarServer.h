#pragma once

#include <BusProgram.h>

#include <memory>
#include <string>

namespace e2e {

/// `zeb-bus-sim` in a child process, on this machine or in a separate network namespace: a server that can be
/// suspended and cut off.
class FarServer {
 public:
    enum class Place { ThisNetwork, OwnNetwork };

    /// @throws std::runtime_error when it cannot be started; a network namespace needs root
    explicit FarServer(Place place);
    ~FarServer();

    const std::string& baseUri() const { return program_->baseUri(); }
    void set(const std::string& path, const std::string& json) const;

    /// SIGSTOP and SIGCONT.
    void stop() const;
    void goOn() const;
    /// cutOff() makes every packet get lost, reconnect() ends that.
    void cutOff() const;
    void reconnect() const;

 private:
    std::string address_{"127.0.0.1"};
    std::string device_;  ///< on this side of the link
    std::unique_ptr<test_support::BusProgram> program_;
};

}  // namespace e2e
