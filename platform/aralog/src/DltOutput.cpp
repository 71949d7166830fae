#include "DltOutput.h"

#include <dlt/dlt.h>
#include <internal/BlockedSignals.h>
#include <internal/SafeWrite.h>
#include <signal.h>
#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <set>

#include "DltIds.h"
#include "TextOutput.h"

namespace ara::log::dlt_output {

namespace {

/// How long libdlt may try, while the process exits, to send what is still in its buffer. Without a daemon it
/// tries in vain, by default for 10 s.
constexpr std::uint32_t kExitTimeoutMilliseconds = 100;

/// The time limit for the answer to a registration if the process exits meanwhile. libdlt's thread looks for
/// answers every half a second.
constexpr std::chrono::seconds kAnswerLimit{1};

/// The most that libdlt accepts for DLT_LOG_MSG_BUF_LEN.
constexpr long kLargestMessage = 65'535;
/// What a message needs beside the text: its type, its length, and the final NUL.
constexpr long kMessageOverhead = sizeof(std::uint32_t) + sizeof(std::uint16_t) + 1;
/// A shorter limit would leave no room for the mark of a text that was cut.
constexpr long kShortestLimit = 64;

/// Leaves the trace status, which concerns recorded bus traffic, to the daemon.
constexpr int kTraceStatusNotSet = -2;

static_assert(kDltIdSize == DLT_ID_SIZE);
static_assert(static_cast<int>(LogLevel::kOff) == DLT_LOG_OFF);
static_assert(static_cast<int>(LogLevel::kFatal) == DLT_LOG_FATAL);
static_assert(static_cast<int>(LogLevel::kError) == DLT_LOG_ERROR);
static_assert(static_cast<int>(LogLevel::kWarn) == DLT_LOG_WARN);
static_assert(static_cast<int>(LogLevel::kInfo) == DLT_LOG_INFO);
static_assert(static_cast<int>(LogLevel::kDebug) == DLT_LOG_DEBUG);
static_assert(static_cast<int>(LogLevel::kVerbose) == DLT_LOG_VERBOSE);

/// Around every call in which libdlt may start. If it could not start before, for want of threads, each
/// registration tries again.
class Starting {
 public:
    Starting() noexcept { sigaction(SIGPIPE, nullptr, &pipeAction_); }
    ~Starting() {
        dlt_set_resend_timeout_atexit(kExitTimeoutMilliseconds);  // starting sets the default
        restorePipeAction();
    }
    Starting(const Starting&) = delete;
    Starting& operator=(const Starting&) = delete;

 private:
    /// By starting, libdlt makes the whole process ignore SIGPIPE. What to do about it is the application's
    /// decision, which the programs inherit that it starts.
    void restorePipeAction() const noexcept {
        struct sigaction now {};
        sigaction(SIGPIPE, nullptr, &now);
        if (now.sa_handler == SIG_IGN) {
            sigaction(SIGPIPE, &pipeAction_, nullptr);
        }
    }

    const internal::SparedWriteSignals spared_;
    const internal::BlockedSignals blocked_;  ///< the threads that libdlt makes inherit that
    struct sigaction pipeAction_ {};
};

/// Contains a value while libdlt's exit handler runs.
std::optional<internal::SparedWriteSignals>& sparedAtExit() {
    static auto& spared = *new std::optional<internal::SparedWriteSignals>;
    return spared;
}

bool isLevel(int level) noexcept {
    return level >= DLT_LOG_OFF && level <= DLT_LOG_VERBOSE;
}

/// Whether records go straight to a daemon. Without one they stay in libdlt's buffer, starting with the
/// registration.
bool hasDaemon() {
    int total = 0;
    int used = 0;
    return dlt_user_check_buffer(&total, &used) >= DLT_RETURN_OK && used == 0;
}

/// libdlt warns of records that did not reach the daemon. Where no daemon has ever been, the loss is no news,
/// and the warning reads like a failure of the application. So libdlt may print warnings only while it starts
/// and from the moment that a daemon has been there. Errors are always printed.
void allowWarnings() {
    static std::atomic<bool> allowed = false;
    if (!allowed.exchange(true)) {
        dlt_log_set_level(LOG_WARNING);
    }
}

/// Called after a registration.
void allowWarningsIfThereIsADaemon() {
    if (hasDaemon()) {
        allowWarnings();
    }
}

/// The contexts whose registration the daemon has not answered yet. Its answer contains the level that is in
/// force.
class UnansweredContexts {
 public:
    static UnansweredContexts& instance() {
        static auto& contexts = *new UnansweredContexts;  // libdlt's thread may outlive the statics
        return contexts;
    }

    void add(const std::string& id) {
        const std::lock_guard lock(mutex_);
        ids_.insert(id);
        limit_ = std::chrono::steady_clock::now() + kAnswerLimit;
    }

    void remove(std::string_view id) {
        const std::lock_guard lock(mutex_);
        if (const auto answered = ids_.find(id); answered != ids_.end()) {
            ids_.erase(answered);
        }
        if (ids_.empty()) {
            noneLeft_.notify_all();
        }
    }

    bool empty() {
        const std::lock_guard lock(mutex_);
        return ids_.empty();
    }

    void waitUntilEmpty() {
        std::unique_lock lock(mutex_);
        noneLeft_.wait_until(lock, limit_, [this] { return ids_.empty(); });
    }

 private:
    std::mutex mutex_;
    std::condition_variable noneLeft_;
    std::set<std::string, std::less<>> ids_;
    std::chrono::steady_clock::time_point limit_;
};

std::atomic<LevelChanged> listener = nullptr;

extern "C" void onLevelChanged(char* contextId, std::uint8_t level, std::uint8_t /*traceStatus*/) {
    const char* const end = std::find(contextId, contextId + DLT_ID_SIZE, '\0');
    const std::string_view id(contextId, static_cast<std::size_t>(end - contextId));
    UnansweredContexts::instance().remove(id);
    allowWarnings();  // this is the daemon's answer, or its order
    if (isLevel(level)) {
        listener.load()(id, static_cast<LogLevel>(level));
    }
}

}  // namespace

void start() {
    const Starting starting;
    sparedAtExit();  // takes its memory now: at the exit there may be none
    // libdlt's exit handler, which writes too, runs between this one and the one below.
    std::atexit([] { sparedAtExit().reset(); });
    // By default libdlt writes its own messages to standard output, where they would mix with the output of
    // the application. Messages below warnings are dropped, because a daemon that is not there yet is not
    // worth a line.
    dlt_log_init(DLT_LOG_TO_STDERR);
    dlt_log_set_level(LOG_WARNING);
    if (dlt_init() < DLT_RETURN_OK) {
        complain("libdlt cannot be started; records will not reach DLT");
    }
    dlt_log_set_level(LOG_ERR);
    std::atexit([] { sparedAtExit().emplace(); });
}

void registerApplication(const std::string& name, const std::string& description) {
    const Starting starting;
    // libdlt mistakes a new id for the registered one if the new one begins with it, so unregister first.
    char registered[DLT_ID_SIZE + 1] = {};
    dlt_get_appid(registered);
    const std::string id = dltId(name);
    if (registered[0] != '\0') {
        dlt_unregister_app();
    }
    if (dlt_register_app(id.c_str(), dltDescription(name, id, description).c_str()) < DLT_RETURN_OK) {
        complain("the application cannot be registered with DLT; its records may be lost");
        return;
    }
    allowWarningsIfThereIsADaemon();
}

void registerContext(Logger::State& state, LevelChanged levelChanged) {
    const Starting starting;
    listener.store(levelChanged);
    const std::string description = dltDescription(state.name, state.dltId, state.description);
    UnansweredContexts::instance().add(state.dltId);
    const auto result =
        dlt_register_context_ll_ts(&state.dltContext, state.dltId.c_str(), description.c_str(),
                                   static_cast<int>(state.level.load()), kTraceStatusNotSet);
    if (result < DLT_RETURN_OK || state.dltContext.log_level_ptr == nullptr) {
        complain("the context \"" + state.name + "\" cannot be registered with DLT; its records may be lost");
        UnansweredContexts::instance().remove(state.dltId);
        return;
    }
    allowWarningsIfThereIsADaemon();
    // libdlt accepts this callback only for a registered context. An answer that arrives before this call is
    // therefore missed, and process exit waits in vain if it comes within the second.
    dlt_register_log_level_changed_callback(&state.dltContext, &onLevelChanged);
    if (const int level = *state.dltContext.log_level_ptr; isLevel(level)) {
        state.level.store(static_cast<LogLevel>(level));
    }
}

void unregisterContext(Logger::State& state) {
    if (state.dltContext.log_level_ptr == nullptr) {
        return;
    }
    UnansweredContexts::instance().remove(state.dltId);
    const internal::SparedWriteSignals spared;
    dlt_unregister_context(&state.dltContext);
}

void waitForAnswers() noexcept {
    UnansweredContexts& unanswered = UnansweredContexts::instance();
    if (unanswered.empty() || !hasDaemon()) {
        return;
    }
    allowWarnings();  // the daemon may have come after the last registration
    unanswered.waitUntilEmpty();
}

std::size_t longestText() noexcept {
    static const std::size_t longest = [] {
        // As libdlt reads it.
        const char* const configured = std::getenv("DLT_LOG_MSG_BUF_LEN");
        const long asked = configured != nullptr ? std::strtol(configured, nullptr, 10) : 0;
        const long size = asked <= 0 ? DLT_USER_BUF_MAX_SIZE : std::min(asked, kLargestMessage);
        return static_cast<std::size_t>(std::max(size - kMessageOverhead, kShortestLimit));
    }();
    return longest;
}

void write(Logger::State& state, LogLevel level, const std::string& text) noexcept {
    const internal::SparedWriteSignals spared;
    DltContextData record{};
    if (dlt_user_log_write_start(&state.dltContext, &record, static_cast<DltLogLevelType>(level)) !=
        DLT_RETURN_TRUE) {
        return;
    }
    dlt_user_log_write_utf8_string(&record, text.c_str());
    dlt_user_log_write_finish(&record);
}

}  // namespace ara::log::dlt_output
