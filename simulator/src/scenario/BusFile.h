#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zebbussim {

/// How much is refused.
enum class Strictness {
    Lenient,  ///< only what cannot be put on a bus
    Strict,   ///< also what the models of the services do not allow, and unknown and repeated keys
};

// These check `{"services":{"<service>":{"<resource>":[element,...],...},...}}`, and the object of one
// service in it. They throw `BusError` 400 with all mistakes, a line for each: "SOURCE:LINE:COLUMN: message".
// They return such lines for what is allowed but is probably a mistake: a name that is nearly one of a
// model's. `what` begins the text of the error.

std::vector<std::string> checkBusText(std::string_view text, const std::string& what,
                                      const std::string& source, Strictness strictness);
/// `text` is a JSON object.
std::vector<std::string> checkServiceText(const std::string& service, std::string_view text,
                                          Strictness strictness);

}  // namespace zebbussim
