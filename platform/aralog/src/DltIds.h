#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

namespace ara::log {

constexpr std::size_t kDltIdSize = 4;

/// The DLT id of a name: its first four characters, "_" in place of everything but printable ASCII. The id of
/// an empty name is "_".
std::string dltId(std::string_view name);

/// The DLT id of a name among those that are taken: where its own is, the last of four characters gives way
/// to a digit or a letter, then the last two. With every such id taken (over a thousand contexts) it is its
/// own all the same.
std::string freeDltId(std::string_view name, const std::set<std::string>& taken);

/// What DLT shows beside the id: the description, after the name where the id does not say it.
std::string dltDescription(std::string_view name, std::string_view id, std::string_view description);

}  // namespace ara::log
