#pragma once

/// The keys of the configuration file. docs/configuration.md and ClientConfig.schema.json describe them.
namespace kelo_client::keys {

/// Tells editors where the schema is. The library does not read it.
constexpr const char* kSchema = "$schema";

constexpr const char* kServiceRegistrySettings = "serviceRegistrySettings";
constexpr const char* kMode = "mode";
constexpr const char* kHttpUri = "httpUri";
constexpr const char* kServiceSettings = "serviceSettings";

/// Of an entry of "serviceSettings".
constexpr const char* kService = "service";
constexpr const char* kUseSeparator = "useSeparator";

/// Of an entry of "serviceSettings", and of a service.
constexpr const char* kWatchdogTimeout = "watchdogTimeout";

constexpr const char* kServices = "services";

/// Of a service.
constexpr const char* kServerBaseUri = "serverBaseUri";
constexpr const char* kServerBasePathHttp = "serverBasePathHTTP";
constexpr const char* kServerBasePathWs = "serverBasePathWS";
/// With a double "s". No other spelling is read.
constexpr const char* kSeparatorAfterRessource = "separatorAfterRessource";

}  // namespace kelo_client::keys
