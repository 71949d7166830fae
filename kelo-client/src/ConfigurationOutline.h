#pragma once

#include <internal/JsonPlaces.h>

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ConfigurationFindings.h"
#include "ServiceEntry.h"

namespace kelo_client {

using internal::JsonPlace;
using internal::JsonPlaces;

/// Where the parts of a configuration file are. Of a repeated key, this is the last value, which counts.
struct ConfigurationOutline {
    struct Member {
        std::size_t key = 0;  ///< its first byte
        JsonPlace value;
    };
    /// The members that the library reads, by key.
    using Members = std::map<std::string_view, Member>;

    /// An entry of "serviceSettings" that is an object.
    struct Entry {
        std::string path;
        JsonPlace place;
        Members members;
        ServiceEntry content;
    };

    struct Service {
        std::string name;
        Member place;
        Members members;  ///< none if it is not an object
    };

    Members root;
    Members registry;
    std::vector<Entry> entries;
    std::vector<Service> services;  ///< in the order of their names
    std::size_t servicesLeftOut = 0;
};

/// Reads the outline of a text, which is a JSON object, and reports what can be seen without the meaning of
/// the values: keys that are not read or are repeated, sections of another type. Reads a limited number of
/// services and entries, so that it takes little memory.
class OutlineReader {
 public:
    OutlineReader(std::string_view text, const TextPlaces& textPlaces, ConfigurationFindings& findings)
        : places_(text), textPlaces_(textPlaces), findings_(findings) {}

    ConfigurationOutline read();

    /// A value in words: "an object", "the number 5".
    std::string found(const JsonPlace& value) const;
    std::string_view text(const JsonPlace& value) const { return places_.text(value); }

 private:
    using Kind = JsonPlace::Kind;
    using Members = ConfigurationOutline::Members;
    using Severity = ConfigurationFinding::Severity;
    enum class Part { Root, Registry, Entry, Service };
    struct Level;

    static Level levelOf(Part part);
    /// The value of a key if it is there and of this kind, or null.
    const JsonPlace* section(const Members& members, const std::string& path, const char* key, Kind kind);
    Members readMembers(const JsonPlace& object, const std::string& path, Part part);
    void readEntries(ConfigurationOutline& outline, const JsonPlace& array);
    void readServices(ConfigurationOutline& outline, const JsonPlace& object);
    void reportUnknownKey(std::size_t byte, const std::string& path, const std::string& key, Part part);
    void reportRepeatedKey(std::size_t byte, const std::string& path, const std::string& key,
                           const ConfigurationOutline::Member& before);

    const JsonPlaces places_;
    const TextPlaces& textPlaces_;
    ConfigurationFindings& findings_;
};

}  // namespace kelo_client
