#include <internal/EscapedText.h>
#include <kelo-client/ConfigurationCheck.h>

#include <algorithm>

namespace kelo_client {

namespace {

const char* nameOf(ConfigurationFinding::Severity severity) {
    switch (severity) {
        case ConfigurationFinding::Severity::Error:
            return "error";
        case ConfigurationFinding::Severity::Warning:
            return "warning";
        case ConfigurationFinding::Severity::Note:
            break;
    }
    return "note";
}

}  // namespace

bool ConfigurationReport::has(Severity severity) const {
    return std::any_of(findings.begin(), findings.end(),
                       [severity](const auto& finding) { return finding.severity == severity; });
}

std::string ConfigurationReport::findingsText(Severity least) const {
    const std::string name = file.empty() ? "configuration" : internal::escapedText(file);
    std::string lines;
    for (const ConfigurationFinding& finding : findings) {
        if (finding.severity > least) {
            continue;
        }
        lines += name + ":";
        if (finding.line != 0) {
            lines += std::to_string(finding.line) + ":" + std::to_string(finding.column) + ":";
        }
        lines.append(" ").append(nameOf(finding.severity)).append(": ");
        lines += (finding.path.empty() ? "" : finding.path + ": ") + finding.text + "\n";
    }
    if (findingsLeftOut != 0) {
        lines += name + ": " + std::to_string(findingsLeftOut) + " more findings are not listed\n";
    }
    return lines;
}

std::string ConfigurationReport::settingsText() const {
    std::string lines;
    for (const ConfigurationSetting& setting : settings) {
        lines += setting.path + " = " + setting.value + " (" + setting.source + ")\n";
    }
    if (servicesLeftOut != 0) {
        lines += "The settings of " + std::to_string(servicesLeftOut) + " more services are not listed.\n";
    }
    return lines;
}

}  // namespace kelo_client
