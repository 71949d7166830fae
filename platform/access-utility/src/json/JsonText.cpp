#include "JsonText.h"

#include <zebutil/JsonException.h>

#include <string>

namespace zebutil::detail {

void JsonText::fail(const char* reason) const {
    throw JsonException("JSON, byte " + std::to_string(at_ - begin_) + ": " + reason);
}

}  // namespace zebutil::detail
