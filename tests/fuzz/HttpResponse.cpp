// HTTP responses as requests for elements read them: the first byte selects the status, the rest is the body.
#include <zeb/ITpAccess.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "ClampRequests.h"

namespace {

class FixedAnswer : public zeb::ITpAccess {
 public:
    explicit FixedAnswer(zeb::ZebResponse response) : response_(std::move(response)) {}
    zeb::ZebResponse get(const std::string&, const std::string&, const Query&, Deadline) override {
        return response_;
    }
    zeb::ZebResponse post(const std::string&, const std::string&, const std::string&, Deadline) override {
        return response_;
    }

 private:
    const zeb::ZebResponse response_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    constexpr std::array statuses{200, 0, 100, 204, 301, 404, 500, 503};
    // Most bytes mean 200, since with any other status the body is not read.
    const std::size_t pick = data[0] < statuses.size() ? data[0] : 0;
    fuzz::findClamps(std::make_shared<FixedAnswer>(
        zeb::ZebResponse(statuses.at(pick), std::string(reinterpret_cast<const char*>(data) + 1, size - 1))));
    return 0;
}
