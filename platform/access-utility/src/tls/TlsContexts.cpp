#include "TlsContexts.h"

#include <internal/RegularFile.h>
#include <openssl/crypto.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "OpenSslUse.h"
#include "Pem.h"

namespace zebutil {

namespace {

constexpr int kMaximumChainLength = 9;
// A bundle of all public authorities takes 0.2 MiB.
constexpr std::size_t kLargestFile = std::size_t{4} * 1024 * 1024;
// The public authorities are some 150. OpenSSL's time to add one grows with their number, and the end of the
// process waits for a file that is being read: 0.1 s for a file of this many.
constexpr std::size_t kMostCertificates = 1000;
// One for the system's authorities and one for each pinned one. More than that are from earlier environments.
constexpr std::size_t kMostEntries = 32;
constexpr const char* kCiphers = "ECDHE+AESGCM:ECDHE+CHACHA20:!aNULL:!eNULL";

void require(bool isDone, const char* what) {
    if (!isDone) {
        throw std::runtime_error(std::string("TLS cannot be set up (") + what + "): " + openSslFailure());
    }
}

// Files that nobody has asked for, which are left out because of a fault in them.
using LeftOut = std::map<std::string, std::string>;

// Calls `use` with the content. Every fault is reported with the variable and the file.
template <typename Use>
void withContentOf(const TlsFiles::Source& source, LeftOut& leftOut, Use use) {
    try {
        std::string content = internal::readRegularFile(source.path, kLargestFile);
        const std::unique_ptr<std::string, void (*)(std::string*)> cleansed(
            &content, [](std::string* text) { OPENSSL_cleanse(text->data(), text->size()); });
        const OpenSslUse useOfOpenSsl;
        use(content);
    } catch (const std::system_error& error) {
        if (source.isRequired() || !isAbsent(error)) {
            throw unusable(source, error.code().message());
        }
    } catch (const std::runtime_error& fault) {
        if (source.isRequired()) {
            throw unusable(source, fault.what());
        }
        leftOut.emplace(source.path, fault.what());
    }
}

// Adds what `source` contains to `known`, and to the context if it was not known yet. A system has most of
// its authorities twice, in one file and in a directory.
void trust(SSL_CTX* context, const TlsFiles::Source& source, std::string& known, LeftOut& leftOut) {
    withContentOf(source, leftOut, [&](const std::string& content) {
        if (!source.isRequired() && known.find(content) != std::string::npos) {
            return;
        }
        known.append(content);
        const auto certificates = certificatesIn(content, kMostCertificates);
        if (certificates.empty() && source.isRequired()) {
            throw std::runtime_error("it contains no certificate");
        }
        for (const auto& certificate : certificates) {
            require(X509_STORE_add_cert(SSL_CTX_get_cert_store(context), certificate.get()) == 1,
                    "authorities");
        }
    });
}

void identify(SSL_CTX* context, const TlsFiles& files, LeftOut& leftOut) {
    withContentOf(files.certificate, leftOut, [context](const std::string& content) {
        const auto certificates = certificatesIn(content, kMostCertificates);
        if (certificates.empty()) {
            throw std::runtime_error("it contains no certificate");
        }
        require(SSL_CTX_use_certificate(context, certificates.front().get()) == 1, "client certificate");
        for (auto next = certificates.begin() + 1; next != certificates.end(); ++next) {
            require(SSL_CTX_add1_chain_cert(context, next->get()) == 1, "client certificate's chain");
        }
    });
    withContentOf(files.key, leftOut, [context, &files](const std::string& content) {
        const KeyPointer key = keyIn(content);
        if (SSL_CTX_use_PrivateKey(context, key.get()) != 1 || SSL_CTX_check_private_key(context) != 1) {
            throw std::runtime_error("the key does not belong to the certificate in \"" +
                                     files.certificate.path + "\": " + openSslFailure());
        }
    });
}

TlsContexts::Context newContext() {
    const OpenSslUse use;
    TlsContexts::Context context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    require(context != nullptr, "context");
    SSL_CTX* const native = context.get();
    require(SSL_CTX_set_min_proto_version(native, TLS1_2_VERSION) == 1, "version");
    require(SSL_CTX_set_cipher_list(native, kCiphers) == 1, "ciphers");
    SSL_CTX_set_options(native, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    SSL_CTX_set_session_cache_mode(native, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_verify(native, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_verify_depth(native, kMaximumChainLength);
    return context;
}

TlsContexts::Context contextOf(const TlsFiles& files, LeftOut& leftOut) {
    TlsContexts::Context context = newContext();
    SSL_CTX* const native = context.get();
    std::string known;
    for (const TlsFiles::Source& file : files.authorityFiles()) {
        trust(native, file, known, leftOut);
    }
    if (!files.certificate.path.empty()) {
        identify(native, files, leftOut);
    }
    return context;
}

}  // namespace

TlsContexts& TlsContexts::ofProcess() {
    // Never destroyed: at exit the library's threads may still use it.
    static auto& instance = *new TlsContexts();
    return instance;
}

TlsContexts::Context TlsContexts::get(const TlsFiles& files) {
    State state = files.state();
    if (Context context = kept(files, state)) {
        return context;
    }
    LeftOut leftOut;
    const Context context = contextOf(files, leftOut);
    note(leftOut, state);
    keep({files, std::move(state), context});
    return context;
}

TlsContexts::Context TlsContexts::kept(const TlsFiles& files, const State& state) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.files == files && entry.state == state;
    });
    return found == entries_.end() ? nullptr : found->context;
}

void TlsContexts::keep(Entry entry) {
    const OpenSslUse use;  // the context before this one may end here
    const std::lock_guard lock(mutex_);
    entries_.erase(std::remove_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& other) { return other.files == entry.files; }),
                   entries_.end());
    if (entries_.size() >= kMostEntries) {
        entries_.clear();
    }
    entries_.push_back(std::move(entry));
}

void TlsContexts::note(const std::map<std::string, std::string>& leftOut, const State& state) {
    const std::lock_guard lock(mutex_);
    for (const auto& [path, identity] : state) {
        const auto found = leftOut.find(path);
        if (found == leftOut.end()) {
            leftOut_.erase(path);
        } else if (const auto told = leftOut_.find(path);
                   told == leftOut_.end() || told->second != identity) {
            leftOut_[path] = identity;
            untold_.push_back(unusable({"", path}, found->second).what() + std::string("; it is left out"));
        }
    }
}

std::vector<std::string> TlsContexts::takeLeftOut() {
    const std::lock_guard lock(mutex_);
    return std::exchange(untold_, {});
}

}  // namespace zebutil
