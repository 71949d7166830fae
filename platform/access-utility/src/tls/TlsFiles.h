#pragma once

#include <stdexcept>
#include <string>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "FileIdentity.h"

namespace zebutil {

/// The files that the TLS of one service is made of, as the variables of TlsEnvironment name them.
/// docs/tls.md describes the variables.
struct TlsFiles {
    /// A file or directory. `variable` is empty for one that nobody has asked for, which may be absent.
    struct Source {
        std::string variable;
        std::string path;

        bool operator==(const Source& other) const {
            return variable == other.variable && path == other.path;
        }
        bool operator<(const Source& other) const {
            return std::tie(variable, path) < std::tie(other.variable, other.path);
        }
        bool isRequired() const { return !variable.empty(); }
    };

    /// @throws std::runtime_error if the variables contradict each other, or one of them is empty
    static TlsFiles of(const std::string& service);

    /// Whether the environment names an authority for `service`.
    static bool isPinned(const std::string& service);

    /// What changes when one of the files changes. Needs no descriptor, except for a directory.
    /// @throws std::runtime_error if a required file is not there
    std::vector<std::pair<std::string, FileIdentity>> state() const;

    bool operator==(const TlsFiles& other) const {
        return authorities == other.authorities && directories == other.directories &&
               certificate == other.certificate && key == other.key;
    }

    bool operator<(const TlsFiles& other) const {
        return std::tie(authorities, directories, certificate, key) <
               std::tie(other.authorities, other.directories, other.certificate, other.key);
    }

    /// The authorities' file, if there may be one, and the files in the directories at present.
    /// @throws std::runtime_error if a directory cannot be read
    std::vector<Source> authorityFiles() const;

    Source authorities;               ///< the trusted certificates in one file
    std::vector<Source> directories;  ///< and in many; none if there is a pinned authority
    Source certificate;               ///< the client's own; the path is empty if it has none
    Source key;                       ///< of `certificate`
};

/// Whether a file that nobody has asked for may be ignored after this error. A want of descriptors, for
/// example, is no reason to trust fewer authorities.
bool isAbsent(const std::system_error& error);

/// An exception that names the variable, the file and the fault.
std::runtime_error unusable(const TlsFiles::Source& source, const std::string& fault);

}  // namespace zebutil
