#pragma once

#include <Poco/Net/Context.h>
#include <zebutil/TlsClientContext.h>

#include <atomic>
#include <string>

namespace zebutil {

class TlsClientContext::Impl {
 public:
    explicit Impl(const std::string& serverHost);

    const std::string host;
    const Poco::Net::Context::Ptr context;
    /// An OpenSSL error code (X509_V_...), set while a certificate is verified.
    std::atomic<int> reason = 0;
};

}  // namespace zebutil
