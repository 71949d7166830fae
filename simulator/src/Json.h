#pragma once

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <string>

namespace zebbussim {

class BusError;

/// Parses one JSON object, with the limits of the bus: UTF-8, at most 64 deep. Throws `BusError` 400, whose
/// text begins with `what`. Keeps the order of the keys.
Poco::JSON::Object::Ptr parseJsonObject(const std::string& text, const std::string& what);

/// JSON text without white space.
std::string toText(const Poco::JSON::Object& object);
std::string toText(const Poco::Dynamic::Var& value);
/// A JSON string, with its quotes.
std::string quoted(const std::string& text);

bool isUtf8(const std::string& text);

/// The present time as the bus writes it, "2026-01-31T12:34:56.123456Z".
std::string timestamp();

/// `,"ts":"..."}`: how every message ends.
std::string timestampTail();
/// `"error":{...}`
std::string errorMember(const BusError& error);

}  // namespace zebbussim
