#pragma once

#include <cstdlib>
#include <string>

#include "TemporaryDirectory.h"

namespace test_support {

/// Makes the process trust none of the machine's authorities. They are different everywhere, and under
/// emulation it takes seconds to read them.
class NoAuthorities {
 public:
    NoAuthorities() { ::setenv("SSL_CERT_DIR", none_.path().c_str(), 1); }
    ~NoAuthorities() { ::unsetenv("SSL_CERT_DIR"); }
    NoAuthorities(const NoAuthorities&) = delete;
    NoAuthorities& operator=(const NoAuthorities&) = delete;

 private:
    const TemporaryDirectory none_;
};

/// Makes the process trust this authority alone.
class TrustedAuthority {
 public:
    /// @param file for SSL_CERT_FILE
    explicit TrustedAuthority(const std::string& file) { ::setenv("SSL_CERT_FILE", file.c_str(), 1); }
    ~TrustedAuthority() { ::unsetenv("SSL_CERT_FILE"); }
    TrustedAuthority(const TrustedAuthority&) = delete;
    TrustedAuthority& operator=(const TrustedAuthority&) = delete;

 private:
    const NoAuthorities noOther_;
};

}  // namespace test_support
