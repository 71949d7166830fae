// What a user of the simulator writes. Each line of the input is a bus file if it begins with "b", a scenario
// if it begins with "[", otherwise a step.
#include <bus/Bus.h>
#include <control/BusState.h>
#include <json/Json.h>
#include <json/JsonMembers.h>
#include <model/BusError.h>
#include <scenario/BusFile.h>
#include <scenario/Scenario.h>
#include <steps/Step.h>
#include <zeb-bus-sim/BusSimulator.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Require.h"

namespace {

using fuzz::require;
using zebbussim::Bus;
using zebbussim::BusError;
using zebbussim::Scenario;
using zebbussim::Strictness;

constexpr const char* kServices =
    R"({"services":{"ClampControl":{"clamps":[{"id":"1","type":"Clamp15","isSwitchedOn":true}]},)"
    R"("Other":{"things":[{"id":"1","any":[1,{"a":null}]}]}}})";

void requireReason(const std::exception& error) {
    const std::string reason = error.what();
    require(!reason.empty() && zebbussim::isUtf8(reason), "an error has a reason that can be printed");
    require(std::none_of(reason.begin(), reason.end(),
                         [](char each) { return each != '\n' && static_cast<unsigned char>(each) < ' '; }),
            "a reason has no control characters");
}

void loadServices(Bus& bus, std::string_view file) {
    const zebbussim::JsonMembers root(zebbussim::readJsonObject(file, "The bus"));
    bus.load(root.find("services").value());
}

void load(Bus& bus, std::string_view text, Strictness strictness) {
    try {
        for (const std::string& warning : zebbussim::checkBusText(text, "The bus", "bus.json", strictness)) {
            requireReason(std::runtime_error(warning));
        }
        loadServices(bus, text);
    } catch (const BusError& error) {
        require(error.number == 400, "what is wrong with a file is the fault of its author");
        requireReason(error);
    }
}

void perform(Bus& bus, const zebbussim::Step& step) {
    require(!step.inWords().empty(), "a step can be put into words");
    try {
        bus.perform(step, "application");
    } catch (const BusError& error) {
        require(error.number < 500 || error.number == 503, "a step cannot break the bus");
        requireReason(error);
    }
}

void performText(Bus& bus, const std::string& text) {
    try {
        perform(bus, zebbussim::Step::fromText(zebbussim::readJsonObject(text, "The step")));
    } catch (const BusError& error) {
        requireReason(error);
    }
}

void play(Bus& bus, const std::string& text, Strictness strictness) {
    try {
        const Scenario scenario = Scenario::fromText(text, "scenario.json", strictness);
        for (const Scenario::Entry& entry : scenario.entries()) {
            if (entry.step) {
                perform(bus, *entry.step);
            }
        }
    } catch (const std::runtime_error& error) {
        requireReason(error);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zebbussim::BusSimulator::Options options;
    options.lenient = size % 2 == 1;
    const Strictness strictness = options.lenient ? Strictness::Lenient : Strictness::Strict;
    // The bus does not run: what a step begins is what matters here, and nothing of it takes time.
    Bus bus(options, [](std::chrono::milliseconds, const std::function<void()>&) {});
    loadServices(bus, kServices);

    std::string_view rest(reinterpret_cast<const char*>(data), size);
    constexpr int kMostLines = 200;
    for (int number = 0; number < kMostLines && !rest.empty(); ++number) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (!line.empty() && line.front() == 'b') {
            load(bus, line.substr(1), strictness);
        } else if (!line.empty() && line.front() == '[') {
            play(bus, std::string(line), strictness);
        } else {
            performText(bus, std::string(line));
        }
    }

    try {
        const auto state = zebutil::JsonObject::parse(stateOf(bus));
        bus.clearFaults();
        require(state->has("faults"), "the state has the faults");
        const auto cleared = zebutil::JsonObject::parse(stateOf(bus));
        require(cleared->getArray("faults")->size() == 0, "everything that lasts can be cleared");
    } catch (const zebutil::JsonException&) {
        require(false, "the state is JSON");
    }
    try {
        Scenario::fromText(bus.recorded().text(), "recorded", Strictness::Strict);
    } catch (const std::runtime_error&) {
        require(options.lenient, "what was recorded can be played");
    }
    return 0;
}
