#pragma once

#include <string>

constexpr const char* kConfigurationPath = "/var/run/csc/config/kelo-client/ClientConfig.json";

/// Prints a line on standard error.
void complain(const std::string& text);
