#include <clampcontrolclient/ClampFollower.h>

#include <iostream>

int main() {
    const clampcontrolclient::ClampFollower follower([](const clampcontrolclient::ClampStatus& status) {
        std::cout << "terminal 15: " << to_string(status.state) << "  " << status.reason << std::endl;
    });
    std::cin.get();  // waits for Enter
}
