#pragma once

#include <zebutil/Export.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

struct ssl_ctx_st;

namespace zebutil {

struct TlsContextAnswer {
    /// OpenSSL's context, shared by many connections. Must not be changed. Null if there is a failure.
    std::shared_ptr<ssl_ctx_st> context;
    std::string failure;  ///< for the log, with the file; empty if there is none
};

/// Asks for the context of the TLS connections to a service. The files that the environment names, see
/// docs/tls.md, are looked at for every question, and read when they have changed. A file system may take as
/// long as it likes for that, so it happens on a thread that nobody waits for: the question can be forgotten
/// at any time. Once it is destroyed, its `Done` is not running and will not be called.
///
/// Thread safety: used by one thread at a time.
class ZEBUTIL_EXPORT TlsContextQuestion {
 public:
    /// Receives the answer, on the thread that reads the files or, if there can be none, on the caller's
    /// stack. Must do nothing but hand it over: a mutex is held. What it throws is ignored.
    using Done = std::function<void(const TlsContextAnswer& answer)>;

    /// Asks nothing.
    TlsContextQuestion();
    /// @param service that the connection is for; its authority may be pinned
    /// @throws std::runtime_error if the environment's variables contradict each other, or one is empty
    TlsContextQuestion(const std::string& service, Done done);
    TlsContextQuestion(TlsContextQuestion&& other) noexcept;
    TlsContextQuestion& operator=(TlsContextQuestion&& other) noexcept;
    ~TlsContextQuestion();

    /// As if it were destroyed.
    void forget();

    /// Reads the environment's variables, for the later questions of all threads. Called when a factory is
    /// constructed, on a thread of the application: no other thread may look at the environment while the
    /// application may change it.
    static void readEnvironment();

    /// Whether the environment names an authority for `service`, which then must not be reached without TLS.
    static bool isPinned(const std::string& service);

    /// Which of the system's files were left out since the last call because of a fault, as sentences for the
    /// log: each file once, until it changes. Reads nothing.
    static std::vector<std::string> takeLeftOut();

 private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zebutil
