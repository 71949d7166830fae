#pragma once

#include <openssl/ssl.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "TlsFiles.h"

namespace zebutil {

/// The process's OpenSSL contexts. One context is shared by every connection that uses the same files, until
/// one of the files changes: reading the authorities of a system takes about 50 ms. A failure is not kept, so
/// a file that was missing for a while does no lasting harm. A damaged file that nobody has asked for is no
/// failure: the context does without it until it changes.
///
/// Thread safety: any thread may use it.
class TlsContexts {
 public:
    using Context = std::shared_ptr<SSL_CTX>;

    /// The contexts of the process; never destroyed.
    static TlsContexts& ofProcess();

    /// The context that is made of `files`. Takes as long as their file system does, but makes nobody wait
    /// who asks for other files, or for what was left out.
    /// @throws std::runtime_error with the variable, the file and the fault, if one of the files cannot be
    ///         used
    Context get(const TlsFiles& files);

    /// What was left out since the last call, as sentences for the log: each file once, until it changes.
    std::vector<std::string> takeLeftOut();

 private:
    using State = std::vector<std::pair<std::string, FileIdentity>>;
    struct Entry {
        TlsFiles files;
        State state;
        Context context;
    };

    Context kept(const TlsFiles& files, const State& state);
    void keep(Entry entry);
    void note(const std::map<std::string, std::string>& leftOut, const State& state);

    std::mutex mutex_;  ///< held for a moment only, never while a file is read
    std::vector<Entry> entries_;
    std::map<std::string, FileIdentity> leftOut_;
    std::vector<std::string> untold_;
};

}  // namespace zebutil
