#pragma once

#include <string>
#include <vector>

namespace test_support {

/// What this process finds when it looks up a name. Replaces getaddrinfo() of the C library, so link the
/// source file into the test program itself. Other names are looked up as usual. Never restored: the threads
/// that look names up outlive every test.
class ScriptedNames {
 public:
    /// The name has these addresses, in this order.
    static void nameHas(const std::string& name, const std::vector<std::string>& addresses);

    /// A look-up of the name never ends.
    static void nameIsSilent(const std::string& name);
};

}  // namespace test_support
