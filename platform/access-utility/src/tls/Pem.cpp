#include "Pem.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace zebutil {

namespace {

using BioPointer = std::unique_ptr<BIO, OpenSslFree<BIO_free_all>>;

BioPointer readerOf(std::string_view text) {
    BioPointer bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    if (!bio) {
        throw std::runtime_error(openSslFailure());
    }
    return bio;
}

// Without it, OpenSSL would ask for the password on the terminal.
int noPassword(char* /*buffer*/, int /*size*/, int /*isForWriting*/, void* /*data*/) {
    return -1;
}

// The names under which PEM_read_bio_X509_AUX takes a block.
constexpr std::array<std::string_view, 3> kCertificateHeads{"CERTIFICATE-----", "X509 CERTIFICATE-----",
                                                            "TRUSTED CERTIFICATE-----"};

bool isCertificateHead(std::string_view text) {
    return std::any_of(kCertificateHeads.begin(), kCertificateHeads.end(),
                       [text](std::string_view head) { return text.substr(0, head.size()) == head; });
}

std::size_t headsOfCertificatesIn(std::string_view pem) {
    constexpr std::string_view begin = "-----BEGIN ";
    std::size_t count = 0;
    for (auto found = pem.find(begin); found != std::string_view::npos; found = pem.find(begin, found)) {
        found += begin.size();
        count += isCertificateHead(pem.substr(found)) ? 1 : 0;
    }
    return count;
}

}  // namespace

std::vector<CertificatePointer> certificatesIn(std::string_view pem, std::size_t most) {
    // Counted before any is decoded, which takes far longer.
    if (headsOfCertificatesIn(pem) > most) {
        throw std::runtime_error("it contains more than " + std::to_string(most) + " certificates");
    }
    ERR_clear_error();
    const BioPointer reader = readerOf(pem);
    std::vector<CertificatePointer> certificates;
    while (
        CertificatePointer certificate{PEM_read_bio_X509_AUX(reader.get(), nullptr, noPassword, nullptr)}) {
        certificates.push_back(std::move(certificate));
    }
    if (ERR_GET_REASON(ERR_peek_last_error()) != PEM_R_NO_START_LINE) {
        throw std::runtime_error("certificate " + std::to_string(certificates.size() + 1) +
                                 " in it is damaged: " + openSslFailure());
    }
    ERR_clear_error();
    return certificates;
}

KeyPointer keyIn(std::string_view pem) {
    ERR_clear_error();
    const BioPointer reader = readerOf(pem);
    KeyPointer key(PEM_read_bio_PrivateKey(reader.get(), nullptr, noPassword, nullptr));
    if (!key) {
        throw std::runtime_error("it contains no private key that can be read without a password: " +
                                 openSslFailure());
    }
    return key;
}

std::string openSslFailure() {
    const unsigned long error = ERR_peek_last_error();
    ERR_clear_error();
    if (error == 0) {
        return "OpenSSL gives no reason";
    }
    std::array<char, 256> text{};
    const char* const reason = ERR_reason_error_string(error);
    if (reason != nullptr) {
        return reason;
    }
    ERR_error_string_n(error, text.data(), text.size());
    return text.data();
}

}  // namespace zebutil
