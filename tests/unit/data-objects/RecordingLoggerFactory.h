#pragma once

#include <gtest/gtest.h>
#include <zebutil/LoggerFactory.h>

#include <cctype>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace test_data_objects {

/// The process's default logger factory: writes down which loggers were made and what they were told.
///
/// Loggers may be made, told and released by any threads. What is written down, and the settings, are for the
/// test's thread, while no other logs.
class RecordingLoggerFactory : public zebutil::LoggerFactory {
 public:
    /// The one of this process, which becomes the default at the first call.
    static RecordingLoggerFactory& instance() {
        static const auto factory = [] {
            auto made = std::make_shared<RecordingLoggerFactory>();
            setDefaultLoggerFactoryOnce(made);
            return made;
        }();
        return *factory;
    }

    std::unique_ptr<zebutil::ILogger> createLogger(const std::string& name) override {
        if (throws) {
            throw std::runtime_error("no logger today");
        }
        whenOneIsMade();
        const std::lock_guard lock(mutex_);
        created.push_back(name);
        return std::make_unique<Logger>(*this, name);
    }

    /// "level logger: message".
    std::vector<std::string> lines;
    std::vector<std::string> created;
    std::size_t released = 0;
    bool warningsWanted = true;
    bool throws = false;
    /// Called in every making of a logger.
    std::function<void()> whenOneIsMade = [] {};

 private:
    class Logger : public zebutil::ILogger {
     public:
        Logger(RecordingLoggerFactory& factory, std::string name)
            : factory_(factory), name_(std::move(name)) {}
        ~Logger() override {
            const std::lock_guard lock(factory_.mutex_);
            ++factory_.released;
        }

        void trace(const std::string& message) override { add("trace", message); }
        void debug(const std::string& message) override { add("debug", message); }
        void info(const std::string& message) override { add("info", message); }
        void warning(const std::string& message) override { add("warning", message); }
        void error(const std::string& message) override { add("error", message); }
        void system(const std::string& message) override { add("system", message); }
        bool isTrace() const override { return true; }
        bool isDebug() const override { return true; }
        bool isInfo() const override { return true; }
        bool isWarning() const override { return factory_.warningsWanted; }
        bool isError() const override { return true; }
        bool isSystem() const override { return true; }
        std::shared_ptr<zebutil::ILogger> getSubFacilityLogger(const std::string& name) const override {
            return std::make_shared<Logger>(factory_, name);
        }

     private:
        void add(const std::string& level, const std::string& message) {
            const std::lock_guard lock(factory_.mutex_);
            factory_.lines.push_back(level + " " + name_ + ": " + message);
        }

        RecordingLoggerFactory& factory_;
        const std::string name_;
    };

    std::mutex mutex_;
};

/// For what happens once in a process: tests of it are skipped when they are not run one by one, as CTest
/// runs them.
class ProcessOfItsOwn : public testing::Test {
 protected:
    void SetUp() override {
        static int testsOfThisProcess = 0;
        if (++testsOfThisProcess > 1 || testing::UnitTest::GetInstance()->test_to_run_count() > 1) {
            GTEST_SKIP() << "what is tested happens once in a process; run this test by itself";
        }
    }
};

/// Gives each test an empty record of what the data objects log.
class DataObjectTest : public testing::Test {
 protected:
    DataObjectTest() {
        log.lines.clear();
        log.created.clear();
        log.released = 0;
        log.warningsWanted = true;
        log.throws = false;
        log.whenOneIsMade = [] {};
    }

    /// The messages of a unit without what stands before each: level, logger, source path and line number. A
    /// message in which one of these is wrong is given whole.
    std::vector<std::string> messagesOf(const std::string& unit) const {
        const std::string head =
            "warning " + unit + ": kelo-client/generated/ZebDataObjects_ZEB/" + unit + ":";
        std::vector<std::string> messages;
        for (const std::string& line : log.lines) {
            std::size_t end = head.size();
            while (end < line.size() && std::isdigit(static_cast<unsigned char>(line[end]))) {
                ++end;
            }
            const bool isWellFormed =
                line.rfind(head, 0) == 0 && end > head.size() && end < line.size() && line[end] == ' ';
            messages.push_back(isWellFormed ? line.substr(end + 1) : line);
        }
        return messages;
    }

    /// The line of the unit's source file that the message points to.
    static std::string sourceLineOf(const std::string& unit, const std::string& message) {
        const std::string path = "kelo-client/generated/ZebDataObjects_ZEB/" + unit;
        const std::size_t number = message.find(path + ":") + path.size() + 1;
        std::ifstream source(std::string(PROJECT_SOURCE_DIRECTORY) + "/" + path + ".cpp");
        std::string line;
        for (int i = std::stoi(message.substr(number)); i > 0; --i) {
            std::getline(source, line);
        }
        return line;
    }

    RecordingLoggerFactory& log = RecordingLoggerFactory::instance();
};

}  // namespace test_data_objects
