#pragma once

#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zeb/ITpAccess.h>
#include <zeb/XObject.h>
#include <zeb/ZebAccessor.h>
#include <zebutil/ITaskExecutor.h>

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace test_access {

/// Keeps tasks, with their names, until the test runs them.
class HandDrivenExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> function, const char* name) override {
        if (std::exchange(lacksMemoryOnce, false)) {
            throw std::bad_alloc();
        }
        names.emplace_back(name);
        tasks_.push_back(std::move(function));
    }

    void runAll() {
        for (const auto& task : std::exchange(tasks_, {})) {
            task();
        }
    }

    void drop() { tasks_.clear(); }

    std::vector<std::string> names;
    bool lacksMemoryOnce = false;

 private:
    std::vector<std::function<void()>> tasks_;
};

class ScriptedAccess : public zeb::ITpAccess {
 public:
    zeb::ZebResponse get(const std::string& resource, const std::string& id, const Query& query,
                         Deadline deadline) override {
        targets.push_back(resource + "/" + id);
        queries.push_back(query);
        deadlines.push_back(deadline);
        return answer();
    }
    zeb::ZebResponse post(const std::string& resource, const std::string& id, const std::string& body,
                          Deadline deadline) override {
        targets.push_back(resource + "/" + id);
        bodies.push_back(body);
        deadlines.push_back(deadline);
        return answer();
    }

    void cancel() override { ++cancellations; }

    int cancellations = 0;
    std::function<zeb::ZebResponse()> answer = [] {
        return zeb::ZebResponse(200, R"({"data":[{"id":"1"}]})");
    };
    std::vector<std::string> targets;  ///< "resource/id"
    std::vector<Query> queries;
    std::vector<std::string> bodies;  ///< of the posts
    std::vector<Deadline> deadlines;
};

class LampDescriptor : public zeb::XObjectDescriptor {
 public:
    LampDescriptor() : XObjectDescriptor("Lighting", "lamps") {}
};
using Lamp = zeb::XObject<LampDescriptor>;

/// An accessor whose tasks run when the test says so, and whose answers the test gives.
class ZebAccessorTest : public testing::Test {
 public:
    // A task that never ran keeps its executor alive. A real executor drops such tasks when it is stopped.
    ~ZebAccessorTest() override { callbacks->drop(); }

 protected:
    using Response = std::shared_ptr<const zeb::ZebResponse>;

    void findFirst(const LampDescriptor& descriptor = {}) {
        sut.findFirst<Lamp>(
            descriptor, [this](const std::shared_ptr<const Lamp>&, const Response&) { ++successes; },
            [this](const Response& response) { errors.push_back(response); });
    }

    void answerWith(int status, const std::string& body) {
        access->answer = [status, body] { return zeb::ZebResponse(status, body); };
    }

    // Performs the requests and calls their handlers.
    void runAll() {
        requests->runAll();
        callbacks->runAll();
    }

    const std::shared_ptr<test_support::RecordedLog> log = std::make_shared<test_support::RecordedLog>();
    const std::shared_ptr<ScriptedAccess> access = std::make_shared<ScriptedAccess>();
    const std::shared_ptr<HandDrivenExecutor> requests = std::make_shared<HandDrivenExecutor>();
    const std::shared_ptr<HandDrivenExecutor> callbacks = std::make_shared<HandDrivenExecutor>();
    zeb::ZebAccessor sut{access, requests, callbacks,
                         std::make_shared<test_support::RecordingLogger>(log, "Accessor")};
    int successes = 0;
    std::vector<Response> errors;
};

}  // namespace test_access
