#include <unistd.h>
#include <zebutil/UserAgent.h>

#include <cerrno>
#include <string_view>

namespace zebutil {

std::string userAgent() {
    constexpr std::string_view kAllowed =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789!#$%&'*+-.^_`|~";
    constexpr std::size_t kLongestName = 64;
    std::string name = std::string(program_invocation_short_name).substr(0, kLongestName);
    for (char& character : name) {
        if (kAllowed.find(character) == std::string_view::npos) {
            character = '_';
        }
    }
    return (name.empty() ? "program" : name) + "/" + std::to_string(::getpid());
}

}  // namespace zebutil
