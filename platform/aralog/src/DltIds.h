#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

namespace ara::log {

constexpr std::size_t kDltIdSize = 4;

/// The DLT id of a name: its first four characters, with "_" for each one that is a blank or not printable
/// ASCII. The id of an empty name is "_".
std::string dltId(std::string_view name);

/// Returns a DLT id for a name that is not among `taken`. If the name's own id is taken, the last of its four
/// characters is replaced by a digit or a letter. If those ids are taken too, the last two are replaced. If
/// all such ids are taken (over a thousand contexts), returns the name's own id anyway.
std::string freeDltId(std::string_view name, const std::set<std::string>& taken);

/// What DLT shows beside the id: the description, preceded by the name if the id differs from it.
std::string dltDescription(std::string_view name, std::string_view id, std::string_view description);

}  // namespace ara::log
