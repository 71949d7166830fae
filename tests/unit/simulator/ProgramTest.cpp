// How the program begins and ends.
#include <ChildProcess.h>
#include <Emulator.h>
#include <TemporaryDirectory.h>
#include <TestBuild.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

class SimulatorProgram : public testing::Test {
 protected:
    SimulatorProgram() { ::mkfifo(fifo.c_str(), 0600); }

    std::string start(const std::vector<std::string>& arguments) {
        test_support::ChildProgram program(test_support::commandOf(ZEB_BUS_SIM, arguments), {}, output);
        EXPECT_EQ(program.wait(), 1);
        std::ifstream file(output);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    const test_support::TemporaryDirectory directory;
    const std::string fifo = (directory.path() / "fifo").string();
    const std::string output = (directory.path() / "output").string();
};

TEST_F(SimulatorProgram, DoesNotWaitForAPipeAsBusFile) {
    EXPECT_EQ(start({fifo}),
              "zeb-bus-sim: Cannot read the bus file " + fifo + ": it is not a regular file\n");
}

TEST_F(SimulatorProgram, DoesNotWaitForAPipeAsScenario) {
    EXPECT_EQ(start({"--scenario", fifo, VEHICLE_BUS_FILE}),
              "zeb-bus-sim: Cannot read the scenario " + fifo + ": it is not a regular file\n");
}

TEST_F(SimulatorProgram, DoesNotWaitForAPipeAsCertificate) {
    EXPECT_EQ(start({"--tls-cert", fifo, "--tls-key", fifo, VEHICLE_BUS_FILE}),
              "zeb-bus-sim: Cannot read the TLS certificate " + fifo + ": it is not a regular file\n");
}

TEST_F(SimulatorProgram, SaysThatAFileIsMissing) {
    EXPECT_EQ(start({fifo + "2"}),
              "zeb-bus-sim: Cannot read the bus file " + fifo + "2: No such file or directory\n");
}

TEST_F(SimulatorProgram, OpensNoSocketInPlaceOfAStandardStreamThatWasClosed) {
    if (!test_support::kIsNative) {
        GTEST_SKIP() << "an emulator opens files before the program begins";
    }
    test_support::ChildProgram program(
        {"/bin/sh", "-c", "exec > " + fifo + " 2>&- <&-; echo $$; exec \"$0\" \"$@\"", ZEB_BUS_SIM,
         VEHICLE_BUS_FILE},
        {}, output);
    std::ifstream printed(fifo);
    std::string process;
    std::string listening;
    std::getline(printed, process);
    std::getline(printed, listening);
    for (const char* stream : {"0", "2"}) {
        EXPECT_EQ(std::filesystem::read_symlink("/proc/" + process + "/fd/" + stream), "/dev/null") << stream;
    }
    program.askToEnd();
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(SimulatorProgram, SaysThatItsHelpCannotBePrinted) {
    std::vector<std::string> command{"/bin/sh", "-c", "exec \"$0\" \"$@\" > /dev/full"};
    for (const std::string& word : test_support::commandOf(ZEB_BUS_SIM, {"--help"})) {
        command.push_back(word);
    }
    test_support::ChildProgram program(command, {}, output);
    EXPECT_EQ(program.wait(), 1);
    std::string said;
    std::getline(std::ifstream(output) >> std::ws, said);
    EXPECT_EQ(said, "zeb-bus-sim: the output could not be written");
}

TEST_F(SimulatorProgram, EndsOnASignalAlthoughNobodyReadsWhatItPrints) {
    const std::string scenario =
        directory.write("scenario.json", R"([{"print":")" + std::string(200'000, 'x') + "\"}]").string();
    std::vector<std::string> command{"/bin/sh", "-c", "exec \"$0\" \"$@\" > " + fifo};
    for (const std::string& word :
         test_support::commandOf(ZEB_BUS_SIM, {"--scenario", scenario, VEHICLE_BUS_FILE})) {
        command.push_back(word);
    }
    test_support::ChildProgram program(command, {}, output);
    std::ifstream printed(fifo);
    std::string beginning;
    std::getline(printed, beginning);
    EXPECT_NE(printed.get(), EOF);  // the second line has begun, and does not fit into the pipe
    program.askToEnd();
    EXPECT_EQ(program.wait(), 0);
}

}  // namespace
