#include <clampcontrolclient/ClampFollower.h>

#include <iostream>

/// Follows terminal 15 as an application does, and prints what its handler is called with.
int main() {
    const clampcontrolclient::ClampFollower follower([](const clampcontrolclient::ClampStatus& status) {
        std::cout << "handler: " << to_string(status.state) << " " << status.reason << std::endl;
    });
    // For a line of input, what status() says.
    while (std::cin.get() != std::istream::traits_type::eof()) {
        const clampcontrolclient::ClampStatus status = follower.status();
        std::cout << "status: " << to_string(status.state) << " " << status.reason << std::endl;
    }
}
