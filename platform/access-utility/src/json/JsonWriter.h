#pragma once

#include <string>

#include "JsonNode.h"

namespace zebutil::detail {

class JsonDocument;

/// The text of one value of a document, as Poco's trees are written: without white space.
std::string writeJson(const JsonDocument& document, const JsonNode& node);

}  // namespace zebutil::detail
