// The configuration file: the input is its content.
#include <Poco/Exception.h>
#include <RecordingAraLog.h>
#include <csc_logging/CSCLogging.h>
#include <kelo-client/ConfigurationCheck.h>
#include <kelo-client/ConfigurationManager.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "Require.h"

namespace {

using fuzz::require;
using kelo_client::ConfigurationManager;

/// A getter rejects a value of the wrong type in one of two ways.
template <typename Get>
void read(Get get) {
    try {
        get();
    } catch (const Poco::BadCastException&) {
        return;
    } catch (const Poco::InvalidAccessException&) {
        return;
    }
}

void readEverything(const ConfigurationManager& sut, const std::string& service) {
    static_cast<void>(sut.isServiceConfigurationKnown(service));
    read([&] { sut.getServerBaseUri(service); });
    read([&] { sut.getServerBasePath(service); });
    read([&] { sut.getSeparatorAfterResource(service); });
    read([&] {
        require(sut.getWatchdogPongTimeout(service) >= sut.getWatchdogPingInterval(service),
                "a pong may take as long as a ping interval");
    });
    read([&] {
        require(sut.getServiceConfiguration(service).watchdogPingInterval.count() >= 0,
                "a ping interval is not negative");
    });
}

/// A finding or a setting stays on its line, whatever the file contains.
void requireLines(const std::string& text, std::size_t atMost) {
    std::size_t lines = 0;
    for (const char character : text) {
        require(static_cast<unsigned char>(character) >= ' ' || character == '\n',
                "no control character is printed");
        lines += character == '\n' ? 1 : 0;
    }
    require(lines <= atMost, "there is a line for each finding, or setting, and one for those left out");
}

/// What the check says must fit what loading the same file has done.
void check(const std::string& path, const std::string& text) {
    const auto records = test_support::RecordingAraLog::records();
    const bool isLoaded = records.size() == 1;
    const kelo_client::ConfigurationReport report = kelo_client::checkConfiguration(path);
    require(test_support::RecordingAraLog::records().size() == records.size(), "a check logs nothing");
    require(report.isUsable == isLoaded, "a file is usable if it was loaded");
    require(report.isUsable || report.has(kelo_client::ConfigurationFinding::Severity::Error),
            "a file that is not usable has an error");
    requireLines(report.findingsText(), report.findings.size() + 1);
    requireLines(report.settingsText(), report.settings.size() + 1);
    require(kelo_client::checkConfigurationText(text, path).findings.size() == report.findings.size(),
            "the content alone leads to the same findings");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = [] {
        csc_logging::CSCLogging::CreateLogger("Fuzz");
        return ::memfd_create("configuration", MFD_CLOEXEC);
    }();
    require(::ftruncate(file, 0) == 0 && ::pwrite(file, data, size, 0) == static_cast<ssize_t>(size),
            "the file can be written");
    test_support::RecordingAraLog::reset();

    const std::string path = "/proc/self/fd/" + std::to_string(file);
    ConfigurationManager sut(path);
    sut.load();
    check(path, std::string(reinterpret_cast<const char*>(data), size));
    require(sut.getServices() && sut.getServiceSettings(), "the sections are never null");
    readEverything(sut, "ClampControl");
    for (const auto& [name, settings] : *sut.getServices()) {
        require(settings.serverBaseUri && settings.serverBasePathHTTP && settings.serverBasePathWS &&
                    settings.separatorAfterResource && settings.watchdogTimeout,
                "no setting is null");
        readEverything(sut, name);
    }
    for (const auto& [name, settings] : *sut.getServiceSettings()) {
        require(settings.watchdogPingInterval.hasValue() &&
                    settings.watchdogPingInterval.getValue().count() >= 0 &&
                    settings.watchdogPongTimeout.getValue() >= settings.watchdogPingInterval.getValue(),
                "watchdog times are in order");
    }
    return 0;
}
