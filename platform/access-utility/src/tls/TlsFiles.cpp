#include "TlsFiles.h"

#include <dirent.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "TlsEnvironment.h"

namespace zebutil {

namespace {

constexpr std::string_view kAuthorityPrefix = "ZEB_TLS_AUTHORITY_";
constexpr const char* kCertificateVariable = "ZEB_TLS_CLIENT_CERTIFICATE";
constexpr const char* kKeyVariable = "ZEB_TLS_CLIENT_KEY";
constexpr std::size_t kHashLength = 8;

bool isLetterOrDigit(char character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z');
}

// A service's name as part of a variable's name: only upper-case letters, digits and "_".
std::string inVariables(std::string_view name) {
    std::string text(name);
    for (char& character : text) {
        if (!isLetterOrDigit(character)) {
            character = '_';
        } else if (character >= 'a') {
            character = static_cast<char>(character & ~0x20);
        }
    }
    return text;
}

// Upper and lower case of the variable's name do not matter: a wrong one would silently undo the pinning.
std::optional<TlsFiles::Source> pinnedAuthority(const TlsEnvironment& environment,
                                                const std::string& service) {
    std::optional<TlsFiles::Source> found;
    const std::string wanted = inVariables(service);
    for (const auto& [name, path] : environment.beginningWith(kAuthorityPrefix)) {
        if (inVariables(name.substr(kAuthorityPrefix.size())) != wanted) {
            continue;
        }
        const TlsFiles::Source source{name, path};
        if (found && found->path != source.path) {
            throw std::runtime_error(found->variable + " and " + source.variable +
                                     " name different files for one service");
        }
        found = source;
    }
    return found;
}

void requirePath(const TlsFiles::Source& source) {
    if (source.isRequired() && source.path.empty()) {
        throw std::runtime_error(source.variable + " is set, but empty");
    }
}

TlsFiles::Source systemSource(const TlsEnvironment& environment, const char* variableName,
                              const char* defaultPath) {
    const auto path = environment.value(variableName);
    return path && !path->empty() ? TlsFiles::Source{variableName, *path} : TlsFiles::Source{"", defaultPath};
}

// Several directories are separated by ":".
std::vector<TlsFiles::Source> eachOf(const TlsFiles::Source& list) {
    std::vector<TlsFiles::Source> sources;
    for (std::size_t begin = 0; begin < list.path.size();) {
        const std::size_t end = std::min(list.path.find(':', begin), list.path.size());
        if (end > begin) {
            sources.push_back({list.variable, list.path.substr(begin, end - begin)});
        }
        begin = end + 1;
    }
    return sources;
}

bool isNamedByHash(std::string_view name) {
    return name.size() > kHashLength + 1 && name[kHashLength] == '.' &&
           std::all_of(name.begin(), name.begin() + kHashLength,
                       [](char character) {
                           return (character >= '0' && character <= '9') ||
                                  (character >= 'a' && character <= 'f');
                       }) &&
           std::all_of(name.begin() + kHashLength + 1, name.end(),
                       [](char character) { return character >= '0' && character <= '9'; });
}

// The entries of a directory of authorities: files named by the hash of a certificate's subject. None if
// nobody has asked for the directory, and it is not there.
std::vector<std::string> certificateFilesIn(const TlsFiles::Source& directory) {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(directory.path.c_str()), ::closedir);
    std::vector<std::string> files;
    int error = stream ? 0 : errno;
    while (error == 0) {
        errno = 0;
        const dirent* const entry = ::readdir(stream.get());
        if (entry == nullptr) {
            error = errno;
            break;
        }
        if (isNamedByHash(entry->d_name)) {
            files.push_back(directory.path + "/" + entry->d_name);
        }
    }
    const std::system_error failure(error, std::generic_category());
    if (error != 0 && (directory.isRequired() || !isAbsent(failure))) {
        throw unusable(directory, failure.code().message());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

bool TlsFiles::isPinned(const std::string& service) {
    const std::string wanted = inVariables(service);
    const auto variables = TlsEnvironment::ofProcess()->beginningWith(kAuthorityPrefix);
    return std::any_of(variables.begin(), variables.end(), [&wanted](const auto& variable) {
        return inVariables(variable.first.substr(kAuthorityPrefix.size())) == wanted;
    });
}

TlsFiles TlsFiles::of(const std::string& service) {
    const auto environment = TlsEnvironment::ofProcess();
    TlsFiles files;
    if (const auto pinned = pinnedAuthority(*environment, service)) {
        files.authorities = *pinned;
    } else {
        files.authorities =
            systemSource(*environment, X509_get_default_cert_file_env(), X509_get_default_cert_file());
        files.directories =
            eachOf(systemSource(*environment, X509_get_default_cert_dir_env(), X509_get_default_cert_dir()));
    }
    const auto certificate = environment->value(kCertificateVariable);
    const auto key = environment->value(kKeyVariable);
    if (certificate.has_value() != key.has_value()) {
        throw std::runtime_error(std::string(certificate ? kCertificateVariable : kKeyVariable) +
                                 " is set, but " + (certificate ? kKeyVariable : kCertificateVariable) +
                                 " is not");
    }
    if (certificate) {
        files.certificate = {kCertificateVariable, *certificate};
        files.key = {kKeyVariable, *key};
    }
    requirePath(files.authorities);
    requirePath(files.certificate);
    requirePath(files.key);
    return files;
}

std::vector<std::pair<std::string, FileIdentity>> TlsFiles::state() const {
    std::vector<std::pair<std::string, FileIdentity>> state;
    const auto add = [&state](const Source& source) {
        try {
            state.emplace_back(source.path, identityOf(source.path));
        } catch (const std::system_error& error) {
            if (source.isRequired() || !isAbsent(error)) {
                throw unusable(source, error.code().message());
            }
        }
    };
    for (const Source& source : authorityFiles()) {
        add(source);
    }
    for (const Source* source : {&certificate, &key}) {
        if (!source->path.empty()) {
            add(*source);
        }
    }
    return state;
}

std::vector<TlsFiles::Source> TlsFiles::authorityFiles() const {
    std::vector<Source> files;
    if (!authorities.path.empty()) {
        files.push_back(authorities);
    }
    for (const Source& directory : directories) {
        for (std::string& path : certificateFilesIn(directory)) {
            // What a named directory contains has been asked for.
            files.push_back({directory.variable, std::move(path)});
        }
    }
    return files;
}

bool isAbsent(const std::system_error& error) {
    const int number = error.code().value();
    return number == ENOENT || number == ENOTDIR || number == EACCES || number == ELOOP;
}

std::runtime_error unusable(const TlsFiles::Source& source, const std::string& fault) {
    return std::runtime_error((source.isRequired() ? source.variable + ": " : "") + "\"" + source.path +
                              "\": " + fault);
}

}  // namespace zebutil
