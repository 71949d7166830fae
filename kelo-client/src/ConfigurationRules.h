#pragma once

#include "ConfigurationFindings.h"

namespace kelo_client {

class ReadConfiguration;

/// Reports what is wrong with the values of a configuration, and what that leads to.
void checkRules(const ReadConfiguration& configuration, ConfigurationFindings& findings);

}  // namespace kelo_client
