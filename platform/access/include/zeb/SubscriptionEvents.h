#pragma once

#include <functional>
#include <string>

namespace zeb {

/// What can happen to a subscription besides its notifications. A user who shows a state needs both handlers:
/// without them, the last state that arrived looks valid although it is not certain any more.
///
/// Both run on the executor thread, never on the caller's stack. Each may be empty. A `reason` is for people:
/// its text may change. It is escaped and has a limited length.
struct SubscriptionEvents {
    using Handler = std::function<void(const std::string& reason)>;

    /// The server has refused or ended the subscription; there are no more notifications. The reason is the
    /// server's, such as `404 unavailable_data: There is no element "9" in /ClampControl/clamps`. Called
    /// after the last notification, at most once. Not called if the user ends the subscription, or if the
    /// connection is lost or stopped.
    Handler ended;

    /// A notification has arrived that cannot be read. The state is not known until the next one. The
    /// subscription goes on.
    Handler unreadable;
};

}  // namespace zeb
