#pragma once

#include <systemd/sd-bus.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

namespace bench::dbus {

constexpr const char* kPath = "/ClampControl/clamps/1";
constexpr const char* kInterface = "bench.ClampControl";
constexpr const char* kSignal = "Changed";

inline int require(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
    }
    return result;
}

using Connection = std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)>;

/// A connection to the daemon at that address.
inline Connection connect(const std::string& address) {
    sd_bus* bus = nullptr;
    require(sd_bus_new(&bus), "new");
    Connection connection(bus, &sd_bus_flush_close_unref);
    require(sd_bus_set_address(bus, address.c_str()), "address");
    require(sd_bus_set_bus_client(bus, 1), "client of a daemon");
    require(sd_bus_start(bus), "connect");
    const char* name = nullptr;
    require(sd_bus_get_unique_name(bus, &name), "hello");  // waits for the daemon
    return connection;
}

}  // namespace bench::dbus
