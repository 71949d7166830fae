#pragma once

#include <unistd.h>

#include <chrono>
#include <memory>
#include <utility>

#include "ExitGate.h"

namespace csc_logging {

/// The one `Object` of the process: made by its first use, destroyed at exit, and safe to use from any thread
/// before, during and after that. This is the library's only way to end what lives as long as the process;
/// docs/decisions/0010-the-end-of-the-process.md has the whole order.
///
/// Threads keep running while exit destroys the statics. So each use is a visit. At its end the object
///   1. refuses further visits,
///   2. runs `Object::end()`, which does what has to happen in any case,
///   3. waits for the visits under way, and is then destroyed. If a visit takes longer than the limit, the
///      object is never destroyed: a leak at exit is better than a use of a destroyed object.
///
/// In a forked child the object is never destroyed: the threads that it would wait for do not exist there,
/// and one of them may have held a lock when the process was forked.
///
/// Order: exit destroys statics in the reverse order of their construction. An `Object` that uses other
/// statics to its end, itself or through its threads, makes them in its constructor.
template <typename Object>
class ProcessStatic {
 public:
    ProcessStatic() = delete;

    /// Calls `use` with the object, which lives until `use` has returned. Returns false, without a call, once
    /// the object's end has begun.
    template <typename Use>
    static bool with(Use&& use) {
        const Visit visit;
        if (visit.admitted()) {
            std::forward<Use>(use)(object());
        }
        return visit.admitted();
    }

    /// Makes the object unless it is there already.
    static void make() {
        with([](Object&) {});
    }

    /// Protects a use of statics that are older than the object: while a visit that was admitted lasts, they
    /// exist.
    class Visit : public ExitGate::Visit {
     public:
        Visit() noexcept : ExitGate::Visit(exitGate_) {}
    };

 private:
    class Holder {
     public:
        Holder() = default;
        Holder(const Holder&) = delete;
        Holder& operator=(const Holder&) = delete;

        ~Holder() {
            exitGate_.close();
            if (process_ != ::getpid()) {
                return;
            }
            object_->end();
            if (exitGate_.waitUntilEmpty(kLimit)) {
                delete object_;
            }
        }

        Object& object() noexcept { return *object_; }

     private:
        // A plain pointer. It still refers to an object that was left, so a leak checker does not report
        // that.
        Object* const object_ = std::make_unique<Object>().release();
        const pid_t process_ = ::getpid();
    };

    static Object& object() {
        static Holder holder;
        return holder.object();
    }

    /// A visit takes microseconds. This allows for a machine under load.
    static constexpr std::chrono::milliseconds kLimit{1000};

    static inline ExitGate exitGate_;
};

}  // namespace csc_logging
