#pragma once

#include <array>
#include <cstddef>
#include <new>
#include <utility>

namespace zeb {

/// Memory for one function that is posted to an io_context, so that posting it cannot fail for want of
/// memory. Owned by whoever posts. For one post at a time: the memory is free again when the function is
/// called.
class ReservedPost {
 public:
    ReservedPost() = default;
    ReservedPost(const ReservedPost&) = delete;
    ReservedPost& operator=(const ReservedPost&) = delete;

    /// What the io_context is to run. It keeps its operation in this memory.
    template <typename Function>
    auto handler(Function function) {
        return Handler<Function>{*this, std::move(function)};
    }

 private:
    template <typename Type>
    struct Allocator {
        using value_type = Type;

        explicit Allocator(ReservedPost& reserved) : post(&reserved) {}
        /// Converts like every allocator.
        template <typename Other>
        // NOLINTNEXTLINE(google-explicit-constructor)
        Allocator(const Allocator<Other>& other) : post(other.post) {}

        Type* allocate(std::size_t count) {
            static_assert(sizeof(Type) <= kSize);
            static_assert(alignof(Type) <= alignof(std::max_align_t));
            if (count != 1) {
                throw std::bad_alloc();
            }
            return reinterpret_cast<Type*>(post->memory_.data());
        }
        void deallocate(Type* /*memory*/, std::size_t /*count*/) {}

        template <typename Other>
        bool operator==(const Allocator<Other>& other) const {
            return post == other.post;
        }
        template <typename Other>
        bool operator!=(const Allocator<Other>& other) const {
            return post != other.post;
        }

        ReservedPost* post;
    };

    template <typename Function>
    struct Handler {
        using allocator_type = Allocator<std::byte>;

        allocator_type get_allocator() const noexcept { return allocator_type(post); }
        void operator()() { function(); }

        ReservedPost& post;
        Function function;
    };

    static constexpr std::size_t kSize = 160;

    alignas(std::max_align_t) std::array<std::byte, kSize> memory_{};
};

}  // namespace zeb
