#pragma once

#include <cstddef>
#include <functional>
#include <list>

namespace zebbussim {

/// Counts what has arrived of requests and messages that are not complete, of all connections. If that is
/// more than a limit, the connection whose input has been incomplete for longest is ended. Used on the bus's
/// thread.
class UnfinishedInput {
 public:
    static constexpr std::size_t kMaximum = 64 * 1024 * 1024;

    /// The share of one connection, which owns it.
    class Part {
     public:
        /// `endConnection` ends the connection, which then gives its memory back.
        Part(UnfinishedInput& input, std::function<void()> endConnection);
        ~Part() { finish(); }
        Part(const Part&) = delete;
        Part& operator=(const Part&) = delete;

        /// The incomplete request or message has this size now. May end any connection, also this one.
        void setSize(std::size_t size);
        /// It is complete, or is not expected any more.
        void finish();
        bool isUnfinished() const { return unfinished_; }

     private:
        friend class UnfinishedInput;

        UnfinishedInput& all_;
        std::function<void()> endConnection_;
        std::size_t size_ = 0;
        bool unfinished_ = false;
        std::list<Part*>::iterator place_;
    };

 private:
    std::list<Part*> parts_;  ///< the unfinished ones, in the order in which they began
    std::size_t size_ = 0;    ///< of them together
};

}  // namespace zebbussim
