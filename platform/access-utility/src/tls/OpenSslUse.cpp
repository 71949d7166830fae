#include "OpenSslUse.h"

#include <openssl/ssl.h>
#include <unistd.h>

namespace zebutil {

namespace {

// Without this, OpenSSL would register an exit handler at the first connection. Such a late handler runs
// early, while connections are still in use: their owner may be an older static object, or one that is never
// destroyed. The call has no effect if the application has used OpenSSL before; its exit handler is then old
// enough to run late.
void keepOpenSslToTheEndOfTheProcess() {
    OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr);
}

/// Its destructor runs before the exit handler that the application's use of OpenSSL has registered.
class EndOfUse {
 public:
    EndOfUse() { keepOpenSslToTheEndOfTheProcess(); }
    ~EndOfUse() {
        // A forked child has none of the threads whose use would have to end.
        if (process_ == ::getpid()) {
            mutex_.lock();
        }
    }
    EndOfUse(const EndOfUse&) = delete;
    EndOfUse& operator=(const EndOfUse&) = delete;

    std::shared_mutex& mutex() { return mutex_; }

 private:
    const pid_t process_ = ::getpid();
    // Never destroyed: threads may wait for it to the end.
    std::shared_mutex& mutex_ = *new std::shared_mutex();
};

std::shared_mutex& mutexOfProcess() {
    static EndOfUse instance;
    static std::shared_mutex& mutex = instance.mutex();
    return mutex;
}

}  // namespace

OpenSslUse::OpenSslUse() : lock_(mutexOfProcess()) {}

}  // namespace zebutil
