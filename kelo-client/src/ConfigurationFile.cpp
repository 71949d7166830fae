#include "ConfigurationFile.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/Exception.h>
#include <Poco/JSON/JSONException.h>
#include <Poco/JSON/Object.h>
#include <internal/RegularFile.h>
#include <sys/stat.h>
#include <zebutil/JsonException.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "SettingValue.h"

namespace kelo_client {

namespace {

/// The reason, with the line and the column of the mistake.
std::string withPlace(const zebutil::JsonException& exception, std::string_view text) {
    if (!exception.byte()) {
        return exception.what();
    }
    const std::string_view before = text.substr(0, *exception.byte());
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t lineBegin = before.rfind('\n') + 1;  // npos + 1 is 0
    return "line " + std::to_string(line) + ", column " + std::to_string(before.size() - lineBegin + 1) +
           ": " + std::string(exception.reason());
}

/// Throws what Poco throws for a root that is not an object. Returns if the text is not JSON at all.
void refuseOtherRoot(const std::string& text) {
    std::shared_ptr<const zebutil::JsonObject> wrapped;
    try {
        wrapped = zebutil::JsonObject::parse(R"({"root":)" + text + "}");
    } catch (const zebutil::JsonException&) {
        return;
    }
    if (wrapped->getKeys().size() == 1) {
        static_cast<void>(pocoValue(*wrapped, "root").extract<Poco::JSON::Object::Ptr>());
    }
}

}  // namespace

bool isMissing(const std::string& path) noexcept {
    struct stat status {};
    return ::stat(path.c_str(), &status) != 0 &&
           (errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG);
}

std::string readConfigurationFile(const std::string& path) {
    try {
        return internal::readRegularFile(path, kLargestConfiguration);
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::permission_denied ||
            error.code() == std::errc::operation_not_permitted) {
            throw Poco::FileAccessDeniedException(path);
        }
        throw Poco::OpenFileException(path, error.code().message(), error.code().value());
    } catch (const std::runtime_error& error) {
        throw Poco::OpenFileException(error.what(), path);
    }
}

std::shared_ptr<const zebutil::JsonObject> parseConfiguration(const std::string& text) {
    try {
        return zebutil::JsonObject::parse(text);
    } catch (const zebutil::JsonException& exception) {
        const std::size_t begin = text.find_first_not_of(" \t\r\n");
        if (begin != std::string::npos && text[begin] != '{') {
            refuseOtherRoot(text);
        }
        throw Poco::JSON::JSONException(withPlace(exception, text));
    }
}

}  // namespace kelo_client
