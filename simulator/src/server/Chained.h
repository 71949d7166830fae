#pragma once

#include <memory>
#include <utility>

namespace zebbussim {

/// A connection whose handlers start each other. If one of them is lost, nothing starts the next: the
/// connection must be ended. Used on the bus's thread.
class Chained {
 public:
    /// What the connection did when a handler was lost; null if none was.
    const char* lostWhile() const { return lostWhile_; }
    void lose(const char* activity) noexcept { lostWhile_ = activity; }

 protected:
    ~Chained() = default;

 private:
    const char* lostWhile_ = nullptr;
};

/// Tells a connection that a handler is lost, unless it was called and has returned.
class Link {
 public:
    Link(std::shared_ptr<Chained> owner, const char* activity)
        : owner_(std::move(owner)), activity_(activity) {}
    ~Link() {
        if (owner_) {
            owner_->lose(activity_);
        }
    }
    Link(Link&&) noexcept = default;
    Link& operator=(Link&&) = delete;

    void release() { owner_.reset(); }

 private:
    std::shared_ptr<Chained> owner_;
    const char* activity_;
};

/// The handler of an operation of a connection. It is lost if it throws, or if the operation throws and never
/// calls it, for instance for lack of memory.
/// @param activity for people: "reading a request"
template <typename Handler>
auto linked(std::shared_ptr<Chained> owner, const char* activity, Handler handler) {
    return [link = Link(std::move(owner), activity),
            handler = std::move(handler)](const auto&... results) mutable {
        handler(results...);
        link.release();
    };
}

}  // namespace zebbussim
