#pragma once

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <string>

namespace zebbussim {

class BusError;

/// Parses one JSON object: UTF-8, nested at most 64 deep. Keeps the order of the keys. Throws `BusError` 400
/// with a message that begins with `what`.
Poco::JSON::Object::Ptr parseJsonObject(const std::string& text, const std::string& what);

/// Returns JSON text without white space.
std::string toText(const Poco::JSON::Object& object);
std::string toText(const Poco::Dynamic::Var& value);
/// Returns a JSON string with its quotes.
std::string quoted(const std::string& text);

bool isUtf8(const std::string& text);

/// The present time in the format of the bus: "2026-01-31T12:34:56.123456Z".
std::string timestamp();

/// The end of every message: `,"ts":"..."}`.
std::string timestampTail();
/// `"error":{...}`
std::string errorMember(const BusError& error);

}  // namespace zebbussim
