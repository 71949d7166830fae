#pragma once

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstddef>
#include <string>

namespace bench {

/// The HTTP responses of the bus: the collection of clamps, whole or filtered for type Clamp15, and each
/// element of it. The measured clients request nothing else.
class HttpAnswers {
 public:
    using Request = boost::beast::http::request<boost::beast::http::string_body>;
    using Response = boost::beast::http::response<boost::beast::http::string_body>;

    HttpAnswers(std::size_t elements, std::size_t elementSize)
        : elements_(elements), elementSize_(elementSize) {}

    Response answer(const Request& request) const;

    /// The id of the element with that bus path; 0 if the collection has no such element.
    std::size_t elementAt(const std::string& path) const;

 private:
    const std::size_t elements_;
    const std::size_t elementSize_;
};

}  // namespace bench
