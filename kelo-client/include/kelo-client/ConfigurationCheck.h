#pragma once

#include <clampcontrolclient/Export.h>

#include <cstddef>
#include <string>
#include <vector>

namespace kelo_client {

/// Something about a configuration file that its author should know.
struct ConfigurationFinding {
    enum class Severity {
        Error,    ///< the file is not used, or a service is never connected
        Warning,  ///< a part of the file has no effect, or probably not the one that was meant
        Note      ///< worth knowing; may well be intended
    };

    Severity severity = Severity::Note;
    std::size_t line = 0;    ///< from 1; 0 if the finding concerns the file as a whole
    std::size_t column = 0;  ///< from 1, in bytes; 0 as above
    std::string path;        ///< such as "services.ClampControl.serverBaseUri"; empty for the file
    std::string text;        ///< what is wrong, what it leads to, and what would be right
};

/// A setting as it applies.
struct ConfigurationSetting {
    std::string path;    ///< such as "services.ClampControl.serverBaseUri"
    std::string value;   ///< in words or as JSON; a password in an address is not shown
    std::string source;  ///< such as "line 3, column 5" or "default"
};

/// What the library makes of a configuration file. A plain value. Texts from the file are escaped and cut in
/// it, apart from the member `file`.
struct CLAMPCONTROL_EXPORT ConfigurationReport {
    using Severity = ConfigurationFinding::Severity;

    std::string file;       ///< as it was given
    bool isUsable = false;  ///< whether the library uses the file; otherwise all defaults apply
    std::vector<ConfigurationFinding> findings;  ///< in the order of the file; at most 100 of each severity
    std::size_t findingsLeftOut = 0;             ///< how many more there are
    std::vector<ConfigurationSetting> settings;  ///< of at most 100 services
    std::size_t servicesLeftOut = 0;             ///< how many more the file names

    /// Whether there is a finding of this severity.
    bool has(Severity severity) const;

    /// A line for each finding that is at least so severe, and one that counts those that were left out:
    ///
    ///     ClientConfig.json:4:21: warning: services.ClampControl: unknown key "serverBaseUrl"; did you ...
    std::string findingsText(Severity least = Severity::Note) const;

    /// A line for each setting:
    ///
    ///     services.ClampControl.serverBaseUri = "http://127.0.0.1:8080" (line 4, column 38)
    std::string settingsText() const;
};

/// Checks a configuration file, and tells what the library would make of it now. Has no effect on clients,
/// and writes nothing to the log.
///
/// Reads only a regular file of at most 1 MiB, and does not wait for anything else. What is wrong with the
/// file is in the report; throws nothing but `std::bad_alloc`. Whether a server can be reached, and whether
/// it is the right one, cannot be seen in a file.
///
/// Thread safety: any thread may call it at any time.
///
/// @param file the path, used as it is
CLAMPCONTROL_EXPORT ConfigurationReport checkConfiguration(const std::string& file);

/// The same for the content of a file that need not exist.
/// @param file appears in the report
CLAMPCONTROL_EXPORT ConfigurationReport checkConfigurationText(const std::string& text,
                                                               const std::string& file);

}  // namespace kelo_client
