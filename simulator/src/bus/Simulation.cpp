#include "Simulation.h"

#include <optional>
#include <stdexcept>
#include <utility>

#include "json/Json.h"
#include "model/BusError.h"
#include "scenario/BusFile.h"
#include "scenario/InputFile.h"
#include "server/TlsServerContext.h"

namespace zebbussim {

namespace asio = boost::asio;

namespace {

bool hasTls(const BusSimulator::Options& options) {
    return !options.tlsCertificateFile.empty();
}

std::optional<asio::ssl::context> tlsContext(const BusSimulator::Options& options) {
    return hasTls(options)
               ? std::make_optional(createTlsServerContext(options.tlsCertificateFile, options.tlsKeyFile))
               : std::nullopt;
}

std::string readObject(const std::string& json, const std::string& what) {
    return withLibraryErrors([&] { return readJsonObject(json, what); });
}

}  // namespace

using Numbers = Observations::Numbers;

Simulation::Running::Running(Bus& bus, const Options& options)
    : server(thread.ioContext(), bus, options.address, options.port, tlsContext(options),
             BusServer::Events{[this] { flood.queueShrank(); }, [this] { thread.requestEnd(); }}),
      flood(bus.model(), server, thread) {}

Simulation::Simulation(const Options& options)
    : options_(options),
      bus_(options_, [this](std::chrono::milliseconds delay, std::function<void()> function) {
          running_->thread.runLater(delay, std::move(function));
      }) {}

Simulation::~Simulation() {
    stop();
}

void Simulation::start() {
    if (running_) {
        throw std::runtime_error("The simulator runs already");
    }
    const std::uint16_t wantedPort = options_.port;
    try {
        running_ = std::make_unique<Running>(bus_, options_);
        options_.port = running_->server.port();
        bus_.serve(&running_->server, baseUri());
        running_->thread.start([this](const char* problem) { running_->server.repair(problem); });
    } catch (...) {
        bus_.serve(nullptr, {});
        running_.reset();
        options_.port = wantedPort;
        throw;
    }
    bus_.observations().update([](Numbers& numbers) { numbers.stopped = false; });
}

void Simulation::stop() {
    if (!running_) {
        return;
    }
    bus_.observations().update([](Numbers& numbers) { numbers.stopped = true; });
    running_->thread.post([this] {
        if (running_->player) {
            running_->player->cancel("The simulator was stopped");
        }
        running_->flood.stop();
        running_->server.close();
    });
    running_->thread.join();
    bus_.serve(nullptr, {});
    running_.reset();
}

std::string Simulation::baseUri() const {
    const bool isVersion6 = options_.address.find(':') != std::string::npos;
    const std::string host = isVersion6 ? "[" + options_.address + "]" : options_.address;
    return (hasTls(options_) ? "https://" : "http://") + host + ":" + std::to_string(options_.port);
}

std::vector<std::string> Simulation::loadFile(const std::string& fileName) {
    return load(readInputFile("bus file", fileName), "The bus file " + fileName, fileName);
}

std::vector<std::string> Simulation::loadText(const std::string& json) {
    return load(json, "The bus", "bus");
}

std::vector<std::string> Simulation::load(const std::string& text, const std::string& what,
                                          const std::string& source) {
    const Strictness strictness = options_.lenient ? Strictness::Lenient : Strictness::Strict;
    std::vector<std::string> warnings =
        withLibraryErrors([&] { return checkBusText(text, what, source, strictness); });
    const JsonMembers root(readObject(text, what));
    const std::string_view services = root.find("services").value();
    invoke([&](Bus& bus) { bus.load(services); });
    return warnings;
}

void Simulation::addService(const std::string& name, const std::string& json) {
    const auto resources = readObject(json, "The service " + name);
    invoke([&](Bus& bus) {
        if (!options_.lenient) {
            checkServiceText(name, json, Strictness::Strict);
        }
        bus.addService(name, resources);
    });
}

void Simulation::flood(const std::string& path, const std::vector<std::string>& states, std::size_t changes) {
    std::vector<std::string> parsedStates;
    for (const std::string& state : states) {
        parsedStates.push_back(readObject(state, "A state of " + path));
    }
    const BusPath elementPath = withLibraryErrors([&] { return parseElementPath(path); });
    if (parsedStates.empty() || changes == 0) {
        return;
    }
    if (!running_) {
        throw std::runtime_error("The simulator does not run");
    }
    invoke([&](Bus&) { return running_->flood.begin(elementPath, parsedStates, changes); }).get();
}

void Simulation::play(Scenario scenario, double speed, Begins begins, Text print, Text ended) {
    if (!running_) {
        throw std::runtime_error("The simulator does not run");
    }
    invoke([&](Bus& bus) {
        if (running_->player && running_->player->isPlaying()) {
            throw BusError::badRequest("Another scenario is being played");
        }
        running_->player = std::make_shared<ScenarioPlayer>(
            bus, std::move(scenario), speed,
            ScenarioPlayer::Events{[this](std::chrono::milliseconds delay, std::function<void()> function) {
                                       running_->thread.runLater(delay, std::move(function));
                                   },
                                   std::move(begins), std::move(print), std::move(ended)});
        running_->player->start();
    });
}

void Simulation::cancelScenario() {
    if (running_) {
        invoke([this](Bus&) {
            if (running_->player) {
                running_->player->cancel();
            }
        });
    }
}

}  // namespace zebbussim
