#include "ConfigurationFile.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/Exception.h>
#include <Poco/JSON/JSONException.h>
#include <Poco/JSON/Object.h>
#include <internal/RegularFile.h>
#include <internal/TextPlaces.h>
#include <sys/stat.h>
#include <zebutil/JsonException.h>

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
    return internal::TextPlaces(text).of(*exception.byte()).text() + ": " + std::string(exception.reason());
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
    // The system would take what is before a NUL character for the path.
    if (path.find('\0') != std::string::npos) {
        return true;
    }
    struct stat status {};
    return ::stat(path.c_str(), &status) != 0 &&
           (errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG);
}

bool mayPass(int error) noexcept {
    return error == EMFILE || error == ENFILE || error == ENOMEM;
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
