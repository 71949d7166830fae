#include "NameResolver.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

namespace zeb {

namespace {

namespace ip = boost::asio::ip;

std::optional<ip::address> addressOf(const addrinfo& entry) {
    if (entry.ai_family == AF_INET && entry.ai_addrlen >= sizeof(sockaddr_in)) {
        sockaddr_in address{};
        std::memcpy(&address, entry.ai_addr, sizeof address);
        return ip::address_v4(ntohl(address.sin_addr.s_addr));
    }
    if (entry.ai_family == AF_INET6 && entry.ai_addrlen >= sizeof(sockaddr_in6)) {
        sockaddr_in6 address{};
        std::memcpy(&address, entry.ai_addr, sizeof address);
        ip::address_v6::bytes_type bytes{};
        std::memcpy(bytes.data(), &address.sin6_addr, bytes.size());
        return ip::address_v6(bytes, address.sin6_scope_id);
    }
    return std::nullopt;
}

NameResolver::Answer askTheSystem(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* entries = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &entries);
    const int systemError = errno;
    NameResolver::Answer answer;
    if (error != 0) {
        answer.failure = error == EAI_SYSTEM ? std::generic_category().message(systemError)
                                             : std::string(::gai_strerror(error));
        return answer;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(entries, ::freeaddrinfo);
    for (const addrinfo* entry = entries; entry != nullptr; entry = entry->ai_next) {
        const auto address = addressOf(*entry);
        if (address &&
            std::find(answer.addresses.begin(), answer.addresses.end(), *address) == answer.addresses.end()) {
            answer.addresses.push_back(*address);
        }
    }
    if (answer.addresses.empty()) {
        answer.failure = "it has no address";
    }
    return answer;
}

}  // namespace

NameResolver& NameResolver::ofProcess() {
    static auto& instance = *new NameResolver();
    return instance;
}

NameResolver::NameResolver() : NameResolver(askTheSystem) {}

NameResolver::NameResolver(Function function)
    : questions_({"zebResolver", "look it up"}, std::move(function), [](const std::string& reason) {
          return Answer{{}, reason};
      }) {}

NameResolver::Question NameResolver::ask(const std::string& host, Done done) {
    return questions_.ask(host, std::move(done));
}

}  // namespace zeb
