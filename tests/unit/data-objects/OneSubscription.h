#pragma once

#include <zeb/IWebsocketManager.h>

#include <memory>
#include <string>
#include <utility>

namespace test_data_objects {

/// A connection that has one subscription. The test itself is its server.
class OneSubscription : public zeb::IWebsocketManager {
 public:
    std::shared_ptr<zeb::Subscription> subscribe(const std::string&, const std::string&, DataHandler handler,
                                                 EndedHandler) override {
        notify = std::move(handler);
        return nullptr;
    }
    void unsubscribeFromAll() override {}
    void close(const std::string&) override {}
    void stop() override {}

    DataHandler notify;
};

}  // namespace test_data_objects
