#include "ConfigurationHint.h"

#include <internal/EscapedText.h>
#include <kelo-client/ConfigurationCheck.h>
#include <kelo-client/ConfigurationManager.h>

#include <algorithm>
#include <cstddef>

namespace clampcontrolclient {

using kelo_client::ConfigurationFinding;
using kelo_client::ConfigurationManager;
using kelo_client::ConfigurationReport;

namespace {

constexpr std::size_t kLongestFileName = 200;
constexpr std::size_t kLongestText = 250;

std::string start(const std::string& file) {
    return ". Configuration: " + internal::escapedText(file, kLongestFileName);
}

std::string inWords(const ConfigurationFinding& finding) {
    const std::string what = (finding.path.empty() ? "" : finding.path + ": ") + finding.text;
    return internal::escapedText(what, kLongestText);
}

std::string placeOf(const ConfigurationFinding& finding) {
    return std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": ";
}

bool startsWith(const std::string& text, const char* prefix) {
    return text.rfind(prefix, 0) == 0;
}

// The entries of "serviceSettings" do not decide whether a service is connected.
bool mayPreventConnection(const ConfigurationFinding& finding) {
    return finding.path.empty() || finding.path == "services" ||
           startsWith(finding.path, "services.ClampControl") ||
           (startsWith(finding.path, "serviceRegistrySettings") &&
            !startsWith(finding.path, "serviceRegistrySettings.serviceSettings"));
}

/// The first finding of this severity that the service's connection may depend on; null if there is none.
/// @param part what the path ends with or the text contains
const ConfigurationFinding* first(const ConfigurationReport& report, ConfigurationFinding::Severity severity,
                                  const std::string& part = {}) {
    const auto& findings = report.findings;
    const auto found = std::find_if(findings.begin(), findings.end(), [&](const auto& finding) {
        return finding.severity == severity && mayPreventConnection(finding) &&
               (finding.path + '\n' + finding.text).find(part) != std::string::npos;
    });
    return found == findings.end() ? nullptr : &*found;
}

}  // namespace

std::string configurationHint(const ConfigurationReport& report) {
    using Severity = ConfigurationFinding::Severity;
    const ConfigurationFinding* const error = first(report, Severity::Error);
    const ConfigurationFinding* mistake = first(report, Severity::Warning, "serviceRegistrySettings.mode\n");
    if (mistake == nullptr) {
        mistake = first(report, Severity::Warning, "did you mean");
    }
    if (error == nullptr && mistake == nullptr) {
        mistake = first(report, Severity::Warning, "serviceRegistrySettings.httpUri\n");
    }
    std::string hint;
    for (const ConfigurationFinding* const finding : {error, mistake}) {
        if (finding == nullptr) {
            continue;
        }
        if (hint.empty()) {
            hint = start(report.file) + (finding->line == 0 ? ": " : ":" + placeOf(*finding));
        } else {
            hint += "; " + placeOf(*finding);
        }
        hint += inWords(*finding);
    }
    return hint;
}

std::string configurationHint(const ConfigurationManager& configuration) {
    const std::string& failure = configuration.getLoadFailure();
    const ConfigurationReport report = kelo_client::checkConfiguration(configuration.getConfigurationFile());
    // The file may have changed since it was read.
    if (failure.empty() == report.isUsable) {
        return configurationHint(report);
    }
    if (failure.empty()) {
        return {};
    }
    return start(configuration.getConfigurationFile()) +
           ": the file was not used, so the defaults apply: " + internal::escapedText(failure, kLongestText);
}

}  // namespace clampcontrolclient
