#include "JsonText.h"

#include <zebutil/JsonException.h>

#include <cstddef>

namespace zebutil::detail {

void JsonText::fail(const char* reason) const {
    throw JsonException(static_cast<std::size_t>(at_ - begin_), reason);
}

}  // namespace zebutil::detail
