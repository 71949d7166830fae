#pragma once

#include <kelo-client/ConfigurationManager.h>
#include <zeb/ServiceAddress.h>
#include <zeb/ZebServiceRegistry.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "ConfigurationOutline.h"

namespace kelo_client {

/// A configuration file as the library reads it, together with the places of its parts. The
/// ConfigurationManager decides what is a setting and which value it has; the outline says where that is.
/// For one thread. What is given to the constructor must outlive this object.
class ReadConfiguration {
 public:
    using Mode = zeb::ZebServiceRegistry::Mode;
    using Entry = ConfigurationOutline::Entry;
    using Member = ConfigurationOutline::Member;
    using Members = ConfigurationOutline::Members;
    using Service = ConfigurationOutline::Service;

    /// The defaults, which apply without a file.
    ReadConfiguration() = default;
    ReadConfiguration(const ReadConfiguration&) = delete;
    ReadConfiguration& operator=(const ReadConfiguration&) = delete;
    /// Reads a text, which is a JSON object. Reports what is wrong with its outline.
    ReadConfiguration(std::string_view text, const TextPlaces& places, ConfigurationFindings& findings);

    const ConfigurationManager& manager() const { return manager_; }
    const ConfigurationOutline& outline() const { return outline_; }
    /// The mode that applies.
    Mode mode() const { return mode_; }

    /// What the file says about a service, or null.
    const Service* service(const std::string& name) const;
    /// The entry of "serviceSettings" that counts for the service, or null.
    const Entry* entry(const std::string& name) const;
    static const Member* find(const Members& members, std::string_view key);

    /// Whether the address of the service comes from the file, not from the service registry.
    bool hasConfiguredAddress(const std::string& name) const;
    /// That address; none if it cannot be used.
    std::optional<zeb::ServiceAddress> configuredAddress(const std::string& name) const;
    /// The watchdog's interval that applies; none if the settings of the service cannot be read.
    std::optional<std::chrono::milliseconds> watchdogInterval(const std::string& name) const;

    /// A value in words: "an object", "the number 5".
    std::string found(const Member& member) const { return reader_->found(member.value); }
    std::string_view text(const Member& member) const { return reader_->text(member.value); }
    /// Where it is: "line 3, column 5".
    std::string place(std::size_t byte) const { return places_->of(byte).text(); }

 private:
    const TextPlaces* places_ = nullptr;
    std::optional<OutlineReader> reader_;
    ConfigurationOutline outline_;
    ConfigurationManager manager_;
    Mode mode_ = Mode::DynamicOnly;
    std::map<std::string_view, const Entry*> entries_;  ///< those that count, by service
};

}  // namespace kelo_client
