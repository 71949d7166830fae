#include "RegistryMode.h"

namespace kelo_client {

using zeb::ZebServiceRegistry;
using Mode = ZebServiceRegistry::Mode;

std::optional<Mode> registryModeOf(const std::string& name) {
    for (const Mode mode : {Mode::StaticOnly, Mode::DynamicOnly, Mode::StaticBeforeDynamic}) {
        if (name == nameOf(mode)) {
            return mode;
        }
    }
    return std::nullopt;
}

const std::string& nameOf(Mode mode) {
    switch (mode) {
        case Mode::StaticOnly:
            return ZebServiceRegistry::STR_MODE_STATIC_ONLY;
        case Mode::DynamicOnly:
            return ZebServiceRegistry::STR_MODE_DYNAMIC_ONLY;
        case Mode::StaticBeforeDynamic:
            break;
    }
    return ZebServiceRegistry::STR_MODE_STATIC_BEFORE_DYNAMIC;
}

}  // namespace kelo_client
