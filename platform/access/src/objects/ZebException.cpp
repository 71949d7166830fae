#include <zeb/ZebException.h>

namespace zeb {

ZebException::ZebException(const std::string& message, const std::string& origin, const std::exception* cause)
    : text_("ZebException: " + origin + " " + message) {
    if (cause != nullptr) {
        text_.append(" reason: ").append(cause->what());
    }
}

}  // namespace zeb
