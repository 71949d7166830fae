#include "HeavyWork.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace zebbussim {

namespace asio = boost::asio;

namespace {

constexpr std::size_t kMaximum = 32 * 1024 * 1024;

}  // namespace

bool HeavyWork::add(asio::any_io_executor executor, std::size_t size, std::function<void()> work) {
    if (size_ + size > kMaximum) {
        return false;
    }
    tasks_.push_back({size, std::move(work)});
    size_ += size;
    post(std::move(executor));
    return true;
}

void HeavyWork::clear() {
    tasks_.clear();
    size_ = 0;
    posted_ = false;
}

void HeavyWork::post(asio::any_io_executor executor) {
    if (!posted_ && !tasks_.empty()) {
        // Behind everything that is ready now.
        asio::post(executor, [this, executor] { runNext(executor); });
        posted_ = true;
    }
}

void HeavyWork::runNext(asio::any_io_executor executor) {
    posted_ = false;
    if (tasks_.empty()) {
        return;
    }
    const Task next = std::move(tasks_.front());
    tasks_.pop_front();
    size_ -= next.size;
    post(std::move(executor));
    next.work();
}

}  // namespace zebbussim
