#pragma once

#include <filesystem>
#include <string>

namespace test_support {

/// PEM files, as servers expect them.
struct Certificate {
    std::string certificateFile;
    std::string keyFile;
};

/// Issues certificates for tests. Everything is created anew, as files in a directory that must outlive this
/// object.
class CertificationAuthority {
 public:
    enum class Validity { Past, Present, Future };

    static constexpr const char* kThisMachine = "IP:127.0.0.1,DNS:localhost";

    /// @param name different for every authority and certificate of the directory
    CertificationAuthority(std::filesystem::path directory, const std::string& name);

    /// The file to trust.
    const std::string& certificateFile() const { return itself_.certificateFile; }

    /// A server's certificate.
    /// @param hosts alternative names as OpenSSL writes them, "IP:127.0.0.1,DNS:localhost"
    Certificate issue(const std::string& name, const std::string& hosts = kThisMachine,
                      Validity validity = Validity::Present) const;

    /// A certificate that no server may use.
    Certificate issueForClients(const std::string& name) const;

    /// A certificate that a server of this authority, which is no authority itself, has issued. With its
    /// chain.
    Certificate issueByAServer(const std::string& name) const;

    /// A server's certificate that was not issued by an authority.
    static Certificate selfSigned(const std::filesystem::path& directory, const std::string& name);

 private:
    std::filesystem::path directory_;
    Certificate itself_;
};

}  // namespace test_support
