#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zebutil {

template <auto kFree>
struct OpenSslFree {
    template <typename Object>
    void operator()(Object* object) const {
        kFree(object);
    }
};

using CertificatePointer = std::unique_ptr<X509, OpenSslFree<X509_free>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, OpenSslFree<EVP_PKEY_free>>;

/// Every certificate in a PEM text, in order. Blocks of other kinds are skipped.
/// @throws std::runtime_error if a block is damaged, or if there are more than `most`
std::vector<CertificatePointer> certificatesIn(std::string_view pem, std::size_t most);

/// The private key in a PEM text.
/// @throws std::runtime_error if there is none, it is damaged or it needs a password
KeyPointer keyIn(std::string_view pem);

/// Why OpenSSL's last call on this thread has failed. Clears the reason.
std::string openSslFailure();

}  // namespace zebutil
