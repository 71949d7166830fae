#include "ConfigurationFile.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/Exception.h>
#include <Poco/JSON/JSONException.h>
#include <Poco/JSON/Object.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zebutil/JsonException.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "SettingValue.h"

namespace kelo_client {

namespace {

class Descriptor {
 public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

 private:
    const int number_;
};

[[noreturn]] void failToOpen(const std::string& path, int error) {
    if (error == EACCES || error == EPERM) {
        throw Poco::FileAccessDeniedException(path);
    }
    throw Poco::OpenFileException(path, std::system_category().message(error));
}

void requireRegularFile(const std::string& path, const struct stat& status) {
    if (S_ISDIR(status.st_mode)) {
        throw Poco::OpenFileException("not a file", path);
    }
    if (!S_ISREG(status.st_mode)) {
        throw Poco::OpenFileException("not a regular file", path);
    }
}

[[noreturn]] void failAsTooLarge(const std::string& path) {
    throw Poco::FileException("more than " + std::to_string(kLargestConfiguration) + " bytes", path);
}

/// "JSON, byte 12: reason" with the line and the column in place of the byte.
std::string withPlace(const std::string& message, std::string_view text) {
    constexpr std::string_view beforePlace = "JSON, byte ";
    if (message.rfind(beforePlace, 0) != 0) {
        return message;
    }
    char* end = nullptr;
    const std::size_t byte = std::strtoul(message.c_str() + beforePlace.size(), &end, 10);
    const std::string_view before = text.substr(0, byte);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t lineBegin = before.rfind('\n') + 1;  // npos + 1 is 0
    return "line " + std::to_string(line) + ", column " + std::to_string(before.size() - lineBegin + 1) + end;
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

std::string readConfigurationFile(const std::string& path) {
    struct stat status {};
    // Looked at before it is opened: opening a device may do something already.
    if (::stat(path.c_str(), &status) != 0) {
        failToOpen(path, errno);
    }
    requireRegularFile(path, status);
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.number() < 0 || ::fstat(file.number(), &status) != 0) {
        failToOpen(path, errno);
    }
    requireRegularFile(path, status);
    if (static_cast<std::size_t>(status.st_size) > kLargestConfiguration) {
        failAsTooLarge(path);
    }

    // One byte more, to see that nothing was added in the meantime.
    std::string text(static_cast<std::size_t>(status.st_size) + 1, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const ssize_t length = ::read(file.number(), text.data() + size, text.size() - size);
        if (length == 0) {
            break;
        }
        if (length < 0 && errno != EINTR) {
            throw Poco::ReadFileException(path, std::system_category().message(errno));
        }
        size += length > 0 ? static_cast<std::size_t>(length) : 0;
    }
    if (size == text.size()) {
        throw Poco::ReadFileException("changed while it was read", path);
    }
    text.resize(size);
    return text;
}

std::shared_ptr<const zebutil::JsonObject> parseConfiguration(const std::string& text) {
    try {
        return zebutil::JsonObject::parse(text);
    } catch (const zebutil::JsonException& exception) {
        const std::size_t begin = text.find_first_not_of(" \t\r\n");
        if (begin != std::string::npos && text[begin] != '{') {
            refuseOtherRoot(text);
        }
        throw Poco::JSON::JSONException(withPlace(exception.what(), text));
    }
}

}  // namespace kelo_client
