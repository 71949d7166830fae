#include "TlsEnvironment.h"

#include <openssl/x509.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <mutex>
#include <string_view>

namespace zebutil {

namespace {

constexpr std::string_view kOwnPrefix = "ZEB_TLS_";

bool beginsWith(std::string_view text, std::string_view begin) {
    return text.substr(0, begin.size()) == begin;
}

bool isOfTls(std::string_view name) {
    return beginsWith(name, kOwnPrefix) || name == X509_get_default_cert_file_env() ||
           name == X509_get_default_cert_dir_env();
}

// A program with more rights than its caller must not take its trust from the caller.
bool isEnvironmentTrusted() {
    return ::getauxval(AT_SECURE) == 0;
}

struct Latest {
    std::mutex mutex;
    std::shared_ptr<const TlsEnvironment> environment;
};

// Never destroyed: at exit the library's threads may still use it.
Latest& latest() {
    static auto& instance = *new Latest;
    return instance;
}

}  // namespace

TlsEnvironment::TlsEnvironment() {
    if (!isEnvironmentTrusted() || environ == nullptr) {
        return;
    }
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const std::size_t end = text.find('=');
        if (end != std::string_view::npos && isOfTls(text.substr(0, end))) {
            variables_.emplace_back(text.substr(0, end), text.substr(end + 1));
        }
    }
}

std::shared_ptr<const TlsEnvironment> TlsEnvironment::ofProcess() {
    const std::lock_guard lock(latest().mutex);
    if (!latest().environment) {
        latest().environment.reset(new TlsEnvironment());
    }
    return latest().environment;
}

void TlsEnvironment::readAgain() {
    std::shared_ptr<const TlsEnvironment> read(new TlsEnvironment());
    const std::lock_guard lock(latest().mutex);
    latest().environment.swap(read);
}

std::vector<std::pair<std::string, std::string>> TlsEnvironment::beginningWith(std::string_view begin) const {
    std::vector<std::pair<std::string, std::string>> found;
    for (const auto& variable : variables_) {
        if (beginsWith(variable.first, begin)) {
            found.push_back(variable);
        }
    }
    return found;
}

std::optional<std::string> TlsEnvironment::value(std::string_view name) const {
    for (const auto& [variable, value] : variables_) {
        if (variable == name) {
            return value;
        }
    }
    return std::nullopt;
}

}  // namespace zebutil
