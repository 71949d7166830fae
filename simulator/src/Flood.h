#pragma once

#include <Poco/JSON/Object.h>

#include <cstddef>
#include <exception>
#include <future>
#include <optional>
#include <vector>

#include "BusModel.h"
#include "BusServer.h"
#include "BusThread.h"

namespace zebbussim {

/// Changes one element again and again, and so sends its notifications as fast as TCP takes them: pauses
/// while more than 1 MiB waits for the slowest client, and continues when half of that is sent.
///
/// Exists while the bus runs; used on the bus's thread only. The future is waited for on other threads.
class Flood {
 public:
    /// All three must outlive the flood.
    Flood(BusModel& busModel, const BusServer& busServer, BusThread& busThread);

    /// Begins to make `changes` changes, at least one. Each of `states`, at least one, is merged once into
    /// the element as it is; the states so made are set in turn. The future is ready when the last change is
    /// made, and throws if one fails or the bus stops. Throws `BusError`: 400 while another flood runs, 404
    /// where there is no element.
    std::future<void> begin(const BusPath& path, const std::vector<Poco::JSON::Object::Ptr>& states,
                            std::size_t changes);
    /// Continues a flood that pauses, if enough has been sent.
    void queueShrank();
    /// Ends the flood, if there is one: its future throws `std::runtime_error`.
    void stop();

 private:
    struct Run {
        BusPath path;
        std::vector<Element> states;
        std::size_t changesLeft;
        std::size_t nextState;
        bool paused;
        std::promise<void> done;
    };

    void postBurst();
    /// Makes some changes and posts the next burst, so that the thread serves clients in between.
    void sendBurst();
    void makeChange();
    void finish(const std::exception_ptr& exception);

    BusModel& model_;
    const BusServer& server_;
    BusThread& thread_;
    std::optional<Run> run_;
};

}  // namespace zebbussim
