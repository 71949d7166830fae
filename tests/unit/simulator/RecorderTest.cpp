#include <TemporaryDirectory.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

#include "scenario/RecordedSteps.h"
#include "scenario/Recorder.h"
#include "scenario/Scenario.h"

namespace {

using zebbussim::BusEvent;
using zebbussim::Journal;
using zebbussim::Recorder;
using zebbussim::Scenario;

class SimulatorRecorder : public testing::Test {
 protected:
    void noteStep(const std::string& kind, const std::string& step, int at) {
        BusEvent event;
        event.kind = BusEvent::Kind::StepDone;
        event.name = kind;
        event.data = std::make_shared<const std::string>(step);
        event.at = std::chrono::milliseconds(at);
        journal_.note(std::move(event));
    }
    std::string recorded() const {
        std::ifstream stream(file_);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }

    Journal journal_;
    const test_support::TemporaryDirectory directory_;
    const std::string file_ = (directory_.path() / "recording.json").string();
};

TEST_F(SimulatorRecorder, BeginsWithAScenarioWithoutSteps) {
    const Recorder sut(journal_, file_);
    EXPECT_TRUE(Scenario::fromText(recorded(), "recording").entries().empty());
}

TEST_F(SimulatorRecorder, WritesEachStepAtOnceAsACompleteScenario) {
    const Recorder sut(journal_, file_);
    noteStep("drop", R"({"drop":{}})", 5);
    EXPECT_EQ(Scenario::fromText(recorded(), "recording").entries().size(), 1U);
    noteStep("clear", R"({"clear":{}})", 7);
    EXPECT_EQ(recorded(), "[\n {\"at\":5,\"drop\":{}},\n {\"at\":7,\"clear\":{}}\n]\n");
}

TEST_F(SimulatorRecorder, LeavesOutWhatChangesNothing) {
    const Recorder sut(journal_, file_);
    BusEvent event;
    event.kind = BusEvent::Kind::StepDone;
    event.name = "expect";
    journal_.note(event);
    event.kind = BusEvent::Kind::ElementChanged;
    journal_.note(event);
    EXPECT_TRUE(Scenario::fromText(recorded(), "recording").entries().empty());
}

TEST_F(SimulatorRecorder, SaysThatTheDiskIsFull) {
    try {
        const Recorder sut(journal_, "/dev/full");
        FAIL() << "there was room";
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "Cannot write the recording /dev/full: No space left on device");
    }
}

TEST(SimulatorRecordedSteps, EndWhenTheyBecomeTooLong) {
    Journal journal;
    const zebbussim::RecordedSteps sut(journal);
    BusEvent event;
    event.kind = BusEvent::Kind::StepDone;
    event.name = "print";
    event.text = std::string(1'000'000, 'x');
    for (int count = 0; count < 20; ++count) {
        journal.note(event);
    }
    const auto entries = Scenario::fromText(sut.text(), "steps").entries();
    EXPECT_LT(entries.size(), 10U);
    EXPECT_EQ(entries.back().text, "the recording ends here, because it became too long");
}

}  // namespace
