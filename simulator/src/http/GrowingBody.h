#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/optional/optional.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <string>

namespace zebbussim {

/// The body of a request, as a string that grows with what arrives. Beast's own string body takes the memory
/// that a `Content-Length` announces, although nothing may ever follow.
struct GrowingBody {
    using value_type = std::string;

    class reader {  // NOLINT(readability-identifier-naming): Beast's name
     public:
        template <bool isRequest, typename Fields>
        reader(boost::beast::http::header<isRequest, Fields>& /*head*/, value_type& body) : body_(body) {}

        // NOLINTNEXTLINE(readability-convert-member-functions-to-static): Beast calls it
        void init(const boost::optional<std::uint64_t>& /*length*/, boost::system::error_code& error) {
            error = {};
        }

        template <typename Buffers>
        std::size_t put(const Buffers& buffers, boost::system::error_code& error) {
            error = {};
            const std::size_t before = body_.size();
            for (const boost::asio::const_buffer buffer : boost::beast::buffers_range_ref(buffers)) {
                body_.append(static_cast<const char*>(buffer.data()), buffer.size());
            }
            return body_.size() - before;
        }

        // NOLINTNEXTLINE(readability-convert-member-functions-to-static): Beast calls it
        void finish(boost::system::error_code& error) { error = {}; }

     private:
        value_type& body_;
    };
};

}  // namespace zebbussim
