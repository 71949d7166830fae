#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zebutil {

/// The variables of TLS, as they were when somebody has read them. No thread of the library looks at the
/// environment itself: the application may change it meanwhile, and nothing protects that.
class TlsEnvironment {
 public:
    /// What readAgain() has found last, or the environment as it is now if nobody has called it.
    static std::shared_ptr<const TlsEnvironment> ofProcess();

    /// Reads the environment. Called on threads of the application.
    static void readAgain();

    /// The variables whose names begin with `begin`, and their values.
    std::vector<std::pair<std::string, std::string>> beginningWith(std::string_view begin) const;
    std::optional<std::string> value(std::string_view name) const;

 private:
    TlsEnvironment();

    std::vector<std::pair<std::string, std::string>> variables_;
};

}  // namespace zebutil
