#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <clampcontrolclient/ClampFollower.h>
#include <csc_logging/CSCLogEntry.h>
#include <csc_logging/CSCLogging.h>
#include <internal/EscapedText.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ClientServiceUtils.h>
#include <zeb/IServiceRegistry.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <exception>
#include <new>
#include <optional>
#include <utility>

#include "CallbackGate.h"
#include "ClampStatusBoard.h"
#include "ClampTracker.h"
#include "ClientConfiguration.h"
#include "ConfigurationHint.h"
#include "ProcessBase.h"
#include "SetUp.h"
#include "StopObservers.h"

namespace clampcontrolclient {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using kelo_client::ClientServiceBase;
using kelo_client::ClientServiceUtils;
using zebobjects_ZEB::ClampcontrolService;

namespace {

constexpr const char* kNotYet = "waiting for the service \"ClampControl\" and its first state of terminal 15";
constexpr const char* kStopped =
    "the clients of this process were stopped (ClampControlClient::Stop()); start the process again to "
    "follow "
    "terminal 15";
constexpr const char* kForked = "this process was forked from the one that follows terminal 15";
constexpr const char* kNoMemory = "there was no memory for the follower; make another one";

// Without the memory for the line, the handler is called all the same.
void log(const ClampStatus& status) noexcept {
    try {
        CSCLogEntry line("Clamp Control Client: terminal 15 is ");
        line << to_string(status.state);
        if (!status.reason.empty()) {
            line << ": " << status.reason;
        }
        CSCLogging::LogInfo(line);
    } catch (...) {
    }
}

ClampStatus unknownBecause(const char* reason) noexcept {
    try {
        return {ClampState::Unknown, {}, reason};
    } catch (const std::bad_alloc&) {
        return {};
    }
}

void logThrown(const char* what) noexcept {
    try {
        CSCLogging::LogError(CSCLogEntry("Clamp Control Client: a handler of ClampFollower threw: ")
                             << internal::escapedText(what));
    } catch (...) {
    }
}

}  // namespace

const char* to_string(ClampState state) {
    switch (state) {
        case ClampState::Off:
            return "off";
        case ClampState::On:
            return "on";
        default:
            return "unknown";
    }
}

/// Puts the parts of a follower together: what is tracked goes to the board and, through the gate, to the
/// application. Owned by the follower, and by a handler while it runs.
class ClampFollower::Impl : public ClampTracker::Listener,
                            public kelo_client::StopObserver,
                            public std::enable_shared_from_this<Impl> {
 public:
    Impl(Handler onChange, Events events)
        : onChange_(std::move(onChange)),
          events_(std::move(events)),
          board_(kNotYet),
          setUp_(std::make_shared<SetUp>(SetUp::Steps{[this] { make(); }, [] {}})) {}

    void begin() {
        setUp_->make();
        setUp_->makeAgain();
    }

    /// From its return on, no handler is called.
    void end() {
        setUp_->forget();
        gate_.close();
        board_.endWaits();
        if (tracker_) {
            takeBackListeners();
            tracker_.reset();
        }
    }

    bool isOfParentProcess() const { return setUp_->isOfParentProcess(); }

    ClampStatus status() const {
        keepTrying();
        return board_.status();
    }

    bool waitFor(ClampState state, std::chrono::milliseconds timeout) const {
        keepTrying();
        return board_.waitFor(state, timeout);
    }

    // ------------------------------------------------------------------------------ of the tracker

    void onConnection(bool isConnected) override {
        wasConnected_ = true;
        tell(events_.connection, isConnected);
    }
    void onSubscribed(const std::string& uuid) override { tell(events_.subscribed, uuid); }
    void onNotification() override { tell(events_.notification); }

    void onState(bool isOn, const std::shared_ptr<zeb::Subscription>& source) override {
        board_.setState(isOn, source);
        tell(events_.clamp15, isOn);
        tellNews();
    }

    void onUnknown(const std::string& reason) override {
        const std::string hint = hintOfConfiguration();
        board_.setUnknown(internal::escapedText(reason, kLongestReason - hint.size()) + hint);
        tellNews();
    }

    void onMemoryShortage() noexcept override { board_.setUnknown({}); }

    // ------------------------------------------------------------------------------ of the base

    void onStopping(const char* /*reason*/) override { board_.close(kStopped); }
    void onStopped() override { tellNews(); }

 private:
    static constexpr std::size_t kLongestReason = 1000;

    // Without memory for that, the listeners end with their owner.
    void takeBackListeners() noexcept {
        try {
            base_->getServiceRegistry()->removeServiceListeners(tracker_);
        } catch (...) {
        }
    }

    void keepTrying() const {
        setUp_->keepTrying();
        if (setUp_->isUsable()) {
            base_->getZebExecutor()->start();  // in case there was no thread to be had for it
        }
    }

    /// Empty once the service was connected, since the configuration has led to it.
    std::string hintOfConfiguration() {
        if (wasConnected_) {
            return {};
        }
        if (!hint_) {
            const kelo_client::ProcessBase::Visit visit;  // for the names of services
            const auto base = visit.admitted() ? ClientServiceBase::getInstance() : nullptr;
            hint_ = base ? configurationHint(*base->getConfigurationManager()) : std::string();
        }
        return *hint_;
    }

    void make() {
        try {
            makeTracker();
        } catch (const std::exception& exception) {
            tellThatItFailed(exception);
            throw;
        }
    }

    void tellThatItFailed(const std::exception& failure) {
        board_.setUnknown(
            "the client cannot be made: " + internal::escapedText(failure.what(), kLongestReason) +
            (SetUp::mayPass(failure) ? "; trying again" : ""));
        const auto base = ClientServiceBase::getInstance();
        if (base && base->getZebExecutor()) {
            base->getZebExecutor()->add(
                [weak = weak_from_this()] {
                    if (const auto self = weak.lock()) {
                        self->tellNews();
                    }
                },
                "client cannot be made");
        }
    }

    void makeTracker() {
        auto base = ClientServiceUtils::CreateClientServiceBase(kConfigurationPath);
        const auto services = ClientServiceUtils::CreateClientServices(
            *base, ClampcontrolService::getServiceName(), "ClampFollower");
        auto tracker = std::make_shared<ClampTracker>(services, base->getZebExecutor(), weak_from_this(),
                                                      ClampTracker::TimeLimits());
        complainIfStopped(*base);
        base->tellWhenStopped(shared_from_this());
        tracker->start();
        base_ = std::move(base);
        tracker_ = std::move(tracker);
    }

    template <typename Call, typename... Arguments>
    void tell(const Call& handler, const Arguments&... arguments) {
        if (!handler) {
            return;
        }
        gate_.pass([&] {
            try {
                handler(arguments...);
            } catch (const std::exception& exception) {
                logThrown(exception.what());
            } catch (...) {
                logThrown("something that is not a std::exception");
            }
        });
    }

    void tellNews() {
        if (const auto news = board_.takeNews()) {
            log(*news);
            tell(onChange_, *news);
        }
    }

    const Handler onChange_;
    const Events events_;
    ClampStatusBoard board_;
    CallbackGate gate_;
    // Do not change any more once set-up has made them.
    std::shared_ptr<ClientServiceBase> base_;
    std::shared_ptr<ClampTracker> tracker_;
    const std::shared_ptr<SetUp> setUp_;
    // Of the callback thread.
    bool wasConnected_ = false;
    std::optional<std::string> hint_;
};

ClampFollower::ClampFollower(Handler onChange) : ClampFollower(std::move(onChange), Events()) {}

ClampFollower::ClampFollower(Handler onChange, Events events) {
    try {
        impl_ = std::make_shared<Impl>(std::move(onChange), std::move(events));
        impl_->begin();
    } catch (const std::exception&) {
        // There is no memory for a line in the log either.
    }
}

ClampFollower::~ClampFollower() {
    if (!impl_) {
        return;
    }
    if (impl_->isOfParentProcess()) {
        // Releasing it would lock what a thread of the parent process may have locked. So it is never
        // released.
        static_cast<void>(new (std::nothrow) std::shared_ptr<Impl>(std::move(impl_)));
        return;
    }
    impl_->end();
}

ClampStatus ClampFollower::status() const {
    if (!impl_) {
        return unknownBecause(kNoMemory);
    }
    if (impl_->isOfParentProcess()) {
        return unknownBecause(kForked);
    }
    return impl_->status();
}

bool ClampFollower::waitFor(ClampState state, std::chrono::milliseconds timeout) const {
    if (CallbackGate::isInsideCallback()) {
        CSCLogging::LogError("Clamp Control Client: ClampFollower::waitFor() called from inside a callback");
        return false;
    }
    const auto impl = impl_;  // the destructor ends the wait
    if (!impl || impl->isOfParentProcess()) {
        return state == ClampState::Unknown;
    }
    return impl->waitFor(state, timeout);
}

}  // namespace clampcontrolclient
