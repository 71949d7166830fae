#pragma once

#include <zeb/Export.h>

#include <string>

namespace zeb {

/// A live subscription to one element. Owned by the subscriber; releasing the last reference ends it, as
/// unsubscribe() does. It ends by itself if its connection is lost or the server ends it. Any thread may use
/// it, also from inside the subscription's own handler.
class ZEB_EXPORT Subscription {
 public:
    virtual ~Subscription() = default;

    /// The id of the element.
    virtual std::string getUuidOfElement() const = 0;

    /// Ends the subscription; never blocks. When it returns, no new handler call begins; a call that has
    /// already begun on the executor thread may still be running. Calling it again does nothing.
    virtual void unsubscribe() = 0;

    /// Whether the state that arrived last can be current. False as soon as the user has ended the
    /// subscription, its connection is lost or stopped, or the server's refusal or end of it has arrived,
    /// even if the handlers that report this have not run yet because the executor thread is busy. Never true
    /// again. Costs no more than reading a few flags. A platform that cannot tell returns true.
    virtual bool isActive() const { return true; }
};

}  // namespace zeb
