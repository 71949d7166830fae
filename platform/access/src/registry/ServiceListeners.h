#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FollowingListener.h"
#include "LinkStatus.h"

namespace zeb {

/// The listeners of one service, and what each has been told. Each call of a handler is a task of its own.
///
/// Used under the registry's lock, which the tasks do not need. Every function can be repeated when there was
/// no memory for it: it takes note of what it has done at once.
class ServiceListeners {
 public:
    /// Queues a task on the executor thread.
    using Execute = std::function<void(const char* name, std::function<void()> function)>;

    explicit ServiceListeners(Execute execute) : execute_(std::move(execute)) {}

    /// Does nothing if the listener is there already.
    void add(const std::shared_ptr<FollowingListener>& listener);

    /// Removes the listeners whose owners are gone, to be destroyed without the lock. Looks only when the
    /// number of listeners has doubled, since most owners live on.
    std::vector<std::shared_ptr<FollowingListener>> takeAbandoned();

    /// Removes the listeners of this owner, to be destroyed without the lock. No new call of their handlers
    /// begins.
    std::vector<std::shared_ptr<FollowingListener>> take(const std::weak_ptr<const void>& owner);

    // Those who have been told so already are not told again.
    void tellConnected(const std::shared_ptr<ZebAccessor>& accessor,
                       const std::shared_ptr<IWebsocketManager>& manager);
    void tellDisconnected();
    void tellUnavailable(const LinkStatus& status);

    void tellError(const std::string& text);

 private:
    static constexpr std::size_t kFew = 8;

    template <typename IsGone>
    std::vector<std::shared_ptr<FollowingListener>> takeThose(IsGone isGone);

    const Execute execute_;
    std::vector<std::shared_ptr<FollowingListener>> listeners_;
    std::size_t mostUnchecked_ = kFew;  ///< at so many listeners the abandoned ones are removed
};

}  // namespace zeb
