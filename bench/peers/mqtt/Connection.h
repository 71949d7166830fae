#pragma once

#include <mosquitto.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace bench::mqtt {

constexpr const char* kTopic = "ClampControl/clamps/1";

inline void require(int result, const char* what) {
    if (result != MOSQ_ERR_SUCCESS) {
        throw std::runtime_error(std::string(what) + ": " + mosquitto_strerror(result));
    }
}

/// A connection to a broker on this machine. It has its own network thread once it is started.
class Connection {
 public:
    explicit Connection(void* user) {
        mosquitto_lib_init();
        connection_ = mosquitto_new(nullptr, true, user);
        if (connection_ == nullptr) {
            throw std::runtime_error("mosquitto_new has failed");
        }
        require(mosquitto_int_option(connection_, MOSQ_OPT_TCP_NODELAY, 1), "TCP_NODELAY");
    }
    ~Connection() {
        mosquitto_disconnect(connection_);
        mosquitto_loop_stop(connection_, false);
        mosquitto_destroy(connection_);
        mosquitto_lib_cleanup();
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Retries for a while, because the broker does not report when it is ready.
    void start(int port) {
        int result = MOSQ_ERR_ERRNO;
        for (int attempt = 0; attempt < 100 && result != MOSQ_ERR_SUCCESS; ++attempt) {
            if (attempt > 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            }
            result = mosquitto_connect(connection_, "127.0.0.1", port, 60);
        }
        require(result, "connect");
        require(mosquitto_loop_start(connection_), "network thread");
    }

    mosquitto* get() const { return connection_; }

 private:
    mosquitto* connection_ = nullptr;
};

}  // namespace bench::mqtt
