#pragma once

#include <cstddef>
#include <exception>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "model/BusModel.h"
#include "server/BusServer.h"
#include "server/BusThread.h"

namespace zebbussim {

/// Sends notifications as fast as TCP takes them, by changing one element again and again. Pauses while more
/// than 1 MiB is queued for the slowest client, and continues when half of that is left.
///
/// Exists while the bus runs. Used on the bus's thread only; other threads wait for the future.
class Flood {
 public:
    /// All three must outlive the flood.
    Flood(BusModel& busModel, const BusServer& busServer, BusThread& busThread);

    /// Starts to make `changes` changes; must be at least one. Merges each of `states`, of which there must
    /// be at least one, into the present element once, and sets the results in turn. The future becomes ready
    /// with the last change, or gets an exception if a change fails or the bus stops. Throws `BusError`: 400
    /// while another flood runs, 404 if the element does not exist.
    std::future<void> begin(const BusPath& path, const std::vector<std::string>& states, std::size_t changes);
    /// Call it whenever a message was sent: continues a paused flood if the queues are short enough.
    void queueShrank();
    /// Ends the flood, if one runs; its future throws `std::runtime_error`.
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
    /// Makes some changes and posts the next burst; the thread serves the clients in between.
    void sendBurst();
    void makeChange();
    void finish(const std::exception_ptr& exception);

    BusModel& model_;
    const BusServer& server_;
    BusThread& thread_;
    std::optional<Run> run_;
};

}  // namespace zebbussim
