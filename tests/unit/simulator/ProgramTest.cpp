// How the program begins and ends.
#include <ChildProcess.h>
#include <Emulator.h>
#include <TemporaryDirectory.h>
#include <TestBuild.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
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

    /// Runs the program until it ends by itself. Returns what it has printed.
    std::string run(const std::vector<std::string>& arguments, int expectedExitCode) {
        test_support::ChildProgram program(test_support::commandOf(ZEB_BUS_SIM, arguments), {}, output);
        EXPECT_EQ(program.wait(), expectedExitCode);
        return contentOf(output);
    }
    std::string start(const std::vector<std::string>& arguments) { return run(arguments, 1); }

    std::string play(const std::string& scenario, const std::vector<std::string>& more,
                     int expectedExitCode) {
        std::vector<std::string> arguments{"--demo",     "--port",
                                           "0",          "--exit-after-scenario",
                                           "--scenario", directory.write("scenario.json", scenario).string()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments, expectedExitCode);
    }

    static std::string contentOf(const std::string& fileName) {
        std::ifstream file(fileName);
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

TEST_F(SimulatorProgram, ExitsWith2WhenItIsUsedWrongly) {
    EXPECT_EQ(run({"--prot", "1"}, 2),
              "zeb-bus-sim: unknown option --prot; did you mean --port?; see zeb-bus-sim --help\n");
}

TEST_F(SimulatorProgram, ExitsWith2ForAnAddressThatIsNone) {
    EXPECT_EQ(run({"--demo", "--address", "here"}, 2),
              "zeb-bus-sim: The address \"here\" is not an IP address, such as 127.0.0.1 or ::1; see "
              "zeb-bus-sim --help\n");
}

TEST_F(SimulatorProgram, ExitsWith2ForABasePathThatIsNone) {
    EXPECT_NE(run({"--demo", "--base-path", "a b"}, 2).find("The base path \"a b\" contains"),
              std::string::npos);
}

TEST_F(SimulatorProgram, ExitsWith2ForAHostNameWithAPort) {
    EXPECT_NE(run({"--demo", "--host-name", "sim:8015"}, 2).find("and no port"), std::string::npos);
}

TEST_F(SimulatorProgram, RefusesABusFileBesideTheDemo) {
    EXPECT_NE(run({"--demo", VEHICLE_BUS_FILE}, 2).find("--demo has a vehicle of its own"),
              std::string::npos);
}

TEST_F(SimulatorProgram, PrintsItsVersion) {
    EXPECT_EQ(run({"--version"}, 0).substr(0, 12), "zeb-bus-sim ");
}

TEST_F(SimulatorProgram, NamesTheFieldThatWasProbablyMeantWithItsPlace) {
    const std::string file = directory
                                 .write("bus.json",
                                        "{\"services\": {\"ClampControl\": {\"clamps\": [\n"
                                        "  {\"id\": \"1\", \"isSwitchdOn\": true}]}}}")
                                 .string();
    const std::string said = start({file});
    EXPECT_NE(said.find(file + ":2:15: "), std::string::npos) << said;
    EXPECT_NE(said.find("Did you mean \"isSwitchedOn\"?"), std::string::npos) << said;
}

TEST_F(SimulatorProgram, HasAVehicleWithTerminal15ForTheDemo) {
    play(R"([{"expect":{"element":{"path":"/ClampControl/clamps/1","data":{"type":"Clamp15"}}}}])", {}, 0);
}

TEST_F(SimulatorProgram, PrintsWhatIsDone) {
    const std::string said =
        play(R"([{"print":"hello"},{"remove":{"path":"/ClampControl/clamps/2"}}])", {}, 0);
    EXPECT_NE(said.find("zeb-bus-sim: hello\n"), std::string::npos) << said;
    EXPECT_NE(said.find("scenario: removes /ClampControl/clamps/2\n"), std::string::npos) << said;
    EXPECT_NE(said.find("protocol: 0 WebSockets, 0 subscriptions, 0 requests, no violation\n"),
              std::string::npos)
        << said;
}

TEST_F(SimulatorProgram, PrintsNothingThatATerminalWouldObey) {
    const std::string said = play(R"([{"print":"a\u001b[2Jb"}])", {}, 0);
    EXPECT_EQ(said.find('\x1b'), std::string::npos) << said;
}

TEST_F(SimulatorProgram, IsQuietWhenItIsAskedTo) {
    const std::string said = play(R"([{"remove":{"path":"/ClampControl/clamps/2"}}])", {"--quiet"}, 0);
    EXPECT_EQ(said.substr(said.find('\n') + 1), "");
}

TEST_F(SimulatorProgram, FailsWithTheExpectationThatDoesNotHold) {
    const std::string said =
        play(R"([{"expect":{"webSockets":{"service":"ClampControl","count":1}}}])", {}, 1);
    EXPECT_NE(
        said.find("scenario.json:1:2: the expectation does not hold: there are 0 WebSockets of ClampControl, "
                  "expected 1\n"),
        std::string::npos)
        << said;
}

TEST_F(SimulatorProgram, RecordsWhatItPlaysAsItWas) {
    const std::string first = (directory.path() / "first.json").string();
    const std::string second = (directory.path() / "second.json").string();
    play(R"([{"set":{"path":"/ClampControl/clamps/1","data":{"isSwitchedOn":true}}},{"wait":{"ms":20}},
             {"print":"off"},{"set":{"path":"/ClampControl/clamps/1","data":{"isSwitchedOn":false}}},
             {"delay":{"ms":5}},{"clear":{}},{"service":{"name":"ClampControl","present":false}}])",
         {"--record", first}, 0);
    const std::string recorded = contentOf(first);
    EXPECT_NE(recorded.find("\"print\":\"off\""), std::string::npos) << recorded;
    play(recorded, {"--record", second, "--speed", "10"}, 0);
    EXPECT_EQ(contentOf(second), recorded);
}

TEST_F(SimulatorProgram, DoesNotRecordOntoTheScenarioThatItPlays) {
    const std::string file = directory.write("drive.json", "[]").string();
    EXPECT_EQ(run({"--demo", "--scenario", file, "--record", file}, 2),
              "zeb-bus-sim: --record would overwrite " + file + ", which is read; see zeb-bus-sim --help\n");
}

TEST_F(SimulatorProgram, SaysThatItsOutputCannotBeWritten) {
    std::vector<std::string> command{"/bin/sh", "-c", R"("$0" "$@" 2>&1 >/dev/full | cat)"};
    for (const std::string& word : test_support::commandOf(ZEB_BUS_SIM, {"--demo", "--port", "0"})) {
        command.push_back(word);
    }
    test_support::ChildProgram program(command, {}, output);
    program.wait();
    EXPECT_EQ(contentOf(output), "zeb-bus-sim: the output could not be written\n");
}

TEST_F(SimulatorProgram, SaysThatARecordingCannotBeWritten) {
    EXPECT_NE(play("[]", {"--record", "/nowhere/file"}, 1)
                  .find("Cannot write the recording /nowhere/file: No such file"),
              std::string::npos);
}

TEST_F(SimulatorProgram, PlaysFasterWhenItIsAskedTo) {
    const auto begin = std::chrono::steady_clock::now();
    play(R"([{"wait":{"ms":100000}}])", {"--speed", "1000"}, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50));
}

}  // namespace
