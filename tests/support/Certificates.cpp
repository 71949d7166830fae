#include "Certificates.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <utility>

namespace test_support {

namespace {

template <typename T, void (*free)(T*)>
struct Free {
    void operator()(T* object) const { free(object); }
};
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY, EVP_PKEY_free>>;
using X509Pointer = std::unique_ptr<X509, Free<X509, X509_free>>;

constexpr long kDay = 24L * 60 * 60;

void require(bool isDone, const char* what) {
    if (!isDone) {
        throw std::runtime_error(std::string("OpenSSL could not ") + what);
    }
}

struct File {
    File(const std::string& name, const char* mode) : stream(std::fopen(name.c_str(), mode)) {
        require(stream != nullptr, "open a file");
    }
    ~File() { static_cast<void>(std::fclose(stream)); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    std::FILE* const stream;
};

void extend(X509* certificate, int identifier, const std::string& value) {
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, identifier, value.c_str());
    require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1, "add an extension");
    X509_EXTENSION_free(extension);
}

// Signed by the issuer; self-signed without one.
Certificate make(const std::filesystem::path& directory, const std::string& name, const Certificate* issuer,
                 bool isAuthority, const std::string& hosts,
                 CertificationAuthority::Validity validity = CertificationAuthority::Validity::Present,
                 const std::string& usage = "") {
    const Key key(EVP_EC_gen("P-256"));
    const X509Pointer certificate(X509_new());
    require(key && certificate, "make a key");

    static long lastSerialNumber = 0;
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), ++lastSerialNumber);
    const long shift = validity == CertificationAuthority::Validity::Past     ? -2 * kDay
                       : validity == CertificationAuthority::Validity::Future ? 2 * kDay
                                                                              : 0;
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), shift - kDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), shift + kDay);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    extend(certificate.get(), NID_basic_constraints, isAuthority ? "critical,CA:TRUE" : "critical,CA:FALSE");
    if (!hosts.empty()) {
        extend(certificate.get(), NID_subject_alt_name, hosts);
    }
    if (!usage.empty()) {
        extend(certificate.get(), NID_ext_key_usage, usage);
    }

    Key issuerKey;
    X509Pointer issuerCertificate;
    if (issuer != nullptr) {
        const File keyFile(issuer->keyFile, "r");
        issuerKey.reset(PEM_read_PrivateKey(keyFile.stream, nullptr, nullptr, nullptr));
        const File certificateFile(issuer->certificateFile, "r");
        issuerCertificate.reset(PEM_read_X509(certificateFile.stream, nullptr, nullptr, nullptr));
        require(issuerKey && issuerCertificate, "read the authority's files");
    }
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuer != nullptr ? issuerCertificate.get()
                                                                                    : certificate.get()));
    require(X509_sign(certificate.get(), issuer != nullptr ? issuerKey.get() : key.get(), EVP_sha256()) > 0,
            "sign a certificate");

    const Certificate files{directory / (name + ".crt"), directory / (name + ".key")};
    const File certificateFile(files.certificateFile, "w");
    const File keyFile(files.keyFile, "w");
    require(PEM_write_X509(certificateFile.stream, certificate.get()) == 1 &&
                PEM_write_PrivateKey(keyFile.stream, key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
            "write a certificate");
    return files;
}

}  // namespace

CertificationAuthority::CertificationAuthority(std::filesystem::path directory, const std::string& name)
    : directory_(std::move(directory)), itself_(make(directory_, name, nullptr, true, "")) {}

Certificate CertificationAuthority::issue(const std::string& name, const std::string& hosts,
                                          Validity validity) const {
    return make(directory_, name, &itself_, false, hosts, validity);
}

Certificate CertificationAuthority::issueForClients(const std::string& name) const {
    return make(directory_, name, &itself_, false, kThisMachine, Validity::Present, "clientAuth");
}

Certificate CertificationAuthority::issueByAServer(const std::string& name) const {
    const Certificate server = issue(name + " issuer");
    const Certificate issued = make(directory_, name, &server, false, kThisMachine);
    std::ofstream(issued.certificateFile, std::ios::app) << std::ifstream(server.certificateFile).rdbuf();
    return issued;
}

Certificate CertificationAuthority::selfSigned(const std::filesystem::path& directory,
                                               const std::string& name) {
    return make(directory, name, nullptr, false, kThisMachine);
}

}  // namespace test_support
