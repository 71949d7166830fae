#pragma once

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zebbussim {

/// By which names clients may call this server, and with which scheme.
struct ServerNames {
    bool isTls = false;
    std::vector<std::string> hosts;  ///< beside "localhost" and every IP address
};

/// Throws `BusError` if a request must be refused for its head, before its body is read. `raw` is the head as
/// it arrived.
///
/// 400 when its bytes can be read in two ways, or when the end of the body is not beyond doubt. 403 when a
/// web page of somebody else may be behind the request: a browser sends what any page asks for to this
/// machine, but always says for which host (`Host`) and for which page (`Origin`).
void checkHead(const boost::beast::http::request_header<>& head, std::string_view raw,
               const ServerNames& names);

/// Sets an error for the extensions of a chunk that another program could take for something else. To be
/// called for the head of each chunk.
void checkChunkHead(std::uint64_t size, boost::beast::string_view extensions,
                    boost::system::error_code& error);

/// Whether the client sends the body only when it is told to continue.
bool waitsForContinue(const boost::beast::http::request_header<>& head);

}  // namespace zebbussim
