#include <internal/EscapedText.h>
#include <internal/JsonHint.h>
#include <internal/RegularFile.h>
#include <kelo-client/ConfigurationCheck.h>
#include <kelo-client/ConfigurationManager.h>
#include <unistd.h>
#include <zebutil/BaseUri.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <new>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "ConfigurationFile.h"
#include "ConfigurationFindings.h"
#include "ConfigurationRules.h"
#include "EffectiveSettings.h"
#include "ReadConfiguration.h"
#include "RegistryMode.h"

namespace kelo_client {

namespace {

using Severity = ConfigurationFinding::Severity;

constexpr std::string_view kWhiteSpace = " \t\r\n";

std::string defaultsApply() {
    return "the defaults apply: the mode \"" + nameOf(kDefaultRegistryMode) +
           "\", with a service registry at " +
           zebutil::readableAddress(ConfigurationManager::ServiceRegistrySettings().httpUri);
}

/// A report on a file of which nothing can be used.
ConfigurationReport unusable(const std::string& file, const std::string& fault, const std::string& expected) {
    ConfigurationReport report;
    report.file = file;
    report.findings.push_back(
        {Severity::Error, 0, 0, "", fault + ", so " + defaultsApply() + ". " + expected});
    addSettings(report, ReadConfiguration());
    return report;
}

ConfigurationReport unreadable(const std::string& file, const std::system_error& error) {
    const std::string fault = "the file cannot be read: " + error.code().message();
    if (mayPass(error.code().value())) {
        // The client is made later, with what the file says then.
        ConfigurationReport report;
        report.file = file;
        report.findings.push_back({Severity::Error, 0, 0, "",
                                   fault + ". This may pass: the library tries again until it can read it."});
        return report;
    }
    if (error.code() == std::errc::permission_denied || error.code() == std::errc::operation_not_permitted) {
        return unusable(file, fault,
                        "User " + std::to_string(::geteuid()) +
                            " needs the right to read it, and to search each directory of its path.");
    }
    return unusable(file, fault, "Expected: a file that can be read.");
}

bool isJson(std::string_view text) {
    try {
        zebutil::JsonObject::checkValue(text);
    } catch (const zebutil::JsonException&) {
        return false;
    }
    return true;
}

ConfigurationReport notAnObject(const std::string& file, std::string_view text,
                                const zebutil::JsonException& exception) {
    const std::size_t begin = text.find_first_not_of(kWhiteSpace);
    if (begin == std::string_view::npos) {
        return unusable(file, "the file is empty", "Expected: one JSON object, at least {}.");
    }
    const std::size_t byte = exception.byte().value_or(begin);
    ConfigurationReport report;
    if (text[begin] != '{' && isJson(text)) {
        report = unusable(file, "the file is JSON, but its value is not an object",
                          R"(Expected: an object, such as {"serviceRegistrySettings": {}, "services": {}}.)");
    } else {
        report = unusable(file,
                          "the file is not JSON: " + internal::escapedText(exception.reason()) +
                              internal::jsonHint(text, byte),
                          "Nothing else in the file was checked.");
    }
    const TextPlace place = TextPlaces(text).of(byte);
    report.findings.front().line = place.line;
    report.findings.front().column = place.column;
    return report;
}

std::string tooLarge() {
    return "the file is larger than " + std::to_string(kLargestConfiguration) + " bytes";
}

ConfigurationReport checkText(std::string_view text, const std::string& file) {
    if (text.size() > kLargestConfiguration) {
        return unusable(file, tooLarge(), "Expected: a smaller file.");
    }
    try {
        zebutil::JsonObject::check(text);
    } catch (const zebutil::JsonException& exception) {
        return notAnObject(file, text, exception);
    }
    ConfigurationReport report;
    report.file = file;
    report.isUsable = true;
    const TextPlaces places(text);
    ConfigurationFindings findings;
    const ReadConfiguration configuration(text, places, findings);
    checkRules(configuration, findings);
    findings.moveTo(report, places);
    addSettings(report, configuration);
    return report;
}

}  // namespace

ConfigurationReport checkConfiguration(const std::string& file) {
    if (file.empty()) {
        return unusable(file, "no configuration file is given", "Expected: the path of a file.");
    }
    if (file.back() == '/') {
        return unusable(file, "the path ends with \"/\" and names a directory",
                        "Expected: the path of a file.");
    }
    if (isMissing(file)) {
        return unusable(file, "the file does not exist", "Create it, or correct the path.");
    }
    std::string text;
    try {
        text = internal::readRegularFile(file, kLargestConfiguration);
    } catch (const std::system_error& error) {
        return unreadable(file, error);
    } catch (const std::runtime_error& error) {
        return unusable(
            file, std::string("the file cannot be used: ") + error.what(),
            "Expected: a regular file of at most " + std::to_string(kLargestConfiguration) + " bytes.");
    }
    return checkText(text, file);
}

ConfigurationReport checkConfigurationText(const std::string& text, const std::string& file) {
    return checkText(text, file);
}

}  // namespace kelo_client
