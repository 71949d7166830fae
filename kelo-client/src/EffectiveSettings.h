#pragma once

namespace kelo_client {

struct ConfigurationReport;
class ReadConfiguration;

/// Puts the value of every setting into the report, and where it comes from.
void addSettings(ConfigurationReport& report, const ReadConfiguration& configuration);

}  // namespace kelo_client
