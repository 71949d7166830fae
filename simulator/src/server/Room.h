#pragma once

#include <cstddef>

namespace zebbussim {

/// How many connections a server keeps, in the number of descriptors that the process may open.
struct Room {
    std::size_t connections;           ///< HTTP connections and WebSockets together
    std::size_t webSockets;            ///< some room remains for HTTP
    std::size_t webSocketsOfAService;  ///< some remains for the registry and for other services
};

/// @param openDescriptors about how many descriptors are open without any connection
Room roomForConnections(std::size_t maximumDescriptors, std::size_t openDescriptors);

/// For the descriptors of this process.
Room roomForConnections();

}  // namespace zebbussim
