#include "HttpAnswers.h"

#include <boost/beast/http/field.hpp>
#include <boost/beast/http/status.hpp>
#include <charconv>
#include <string>

#include "ElementText.h"

namespace bench {

namespace http = boost::beast::http;

HttpAnswers::Response HttpAnswers::answer(const Request& request) const {
    const std::string collection = "/ClampControl/clamps";
    const std::string target(request.target());
    const std::string path = target.substr(0, target.find('?'));
    const std::string query = target.substr(path.size());

    std::string data;
    if (path == collection || path == collection + "/") {
        const std::size_t last = query.find("type=Clamp15") == std::string::npos ? elements_ : 1;
        for (std::size_t id = 1; id <= last; ++id) {
            data += (id == 1 ? "[" : ",") + elementText(id, false, elementSize_);
        }
        data += ']';
    } else if (const std::size_t id = elementAt(path); id != 0) {
        data = elementText(id, false, elementSize_);
    }
    Response response;
    response.version(request.version());
    response.keep_alive(request.keep_alive());
    response.set(http::field::content_type, "application/json");
    if (data.empty()) {
        response.result(http::status::not_found);
        response.body() = R"({"error":{"number":404,"reason":"invalid_path","message":"no such path"},)"
                          R"("ts":"2026-01-31T12:34:56.123456Z"})";
    } else {
        response.body() = R"({"data":)" + data + R"(,"ts":"2026-01-31T12:34:56.123456Z"})";
    }
    response.prepare_payload();
    return response;
}

std::size_t HttpAnswers::elementAt(const std::string& path) const {
    std::size_t id = 0;
    const std::size_t begin = path.rfind('/') + 1;
    std::from_chars(path.data() + begin, path.data() + path.size(), id);
    return id >= 1 && path == elementUri(id) ? id : 0;
}

}  // namespace bench
