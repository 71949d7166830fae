#pragma once

#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zebutil/LoggerFactory.h>

#include <cctype>
#include <cstddef>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace test_data_objects {

/// The default logger factory of this process, and the log that its loggers write to. Becomes the default at
/// the first call of `instance()`.
class DefaultLoggers {
 public:
    static DefaultLoggers& instance() {
        static DefaultLoggers loggers;
        return loggers;
    }

    const std::shared_ptr<test_support::RecordedLog> log = std::make_shared<test_support::RecordedLog>();
    const std::shared_ptr<test_support::RecordingLoggerFactory> factory =
        std::make_shared<test_support::RecordingLoggerFactory>(log);

 private:
    DefaultLoggers() { zebutil::LoggerFactory::setDefaultLoggerFactoryOnce(factory); }
};

/// For `whenOneIsMade`: makes the creation of a logger fail.
inline void failToMakeALogger() {
    throw std::runtime_error("no logger today");
}

/// For behaviour that occurs once per process. These tests are skipped unless they run one per process, as
/// CTest runs them.
class ProcessOfItsOwn : public testing::Test {
 protected:
    void SetUp() override {
        static int testsOfThisProcess = 0;
        if (++testsOfThisProcess > 1 || testing::UnitTest::GetInstance()->test_to_run_count() > 1) {
            GTEST_SKIP() << "this can be tested once per process; run this test alone";
        }
    }
};

/// Gives each test an empty record of what the data objects log.
class DataObjectTest : public testing::Test {
 protected:
    DataObjectTest() {
        log.clear();
        log.areWarningsWanted = true;
        loggers.whenOneIsMade = [] {};
    }

    /// The messages of a unit without their prefix of level, logger, source path and line number. A message
    /// with a wrong prefix is returned whole.
    std::vector<std::string> messagesOf(const std::string& unit) const {
        const std::string head =
            "warning " + unit + ": kelo-client/generated/ZebDataObjects_ZEB/" + unit + ":";
        std::vector<std::string> messages;
        for (const std::string& line : log.lines()) {
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

    test_support::RecordedLog& log = *DefaultLoggers::instance().log;
    test_support::RecordingLoggerFactory& loggers = *DefaultLoggers::instance().factory;
};

}  // namespace test_data_objects
