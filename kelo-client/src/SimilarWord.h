#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace kelo_client {

using Words = std::vector<std::string_view>;

/// Whether two words differ only in case, or in signs between their parts, as "serverBaseUri" and
/// "server_base_uri" do.
bool isSameWord(std::string_view word, std::string_view other);

/// Of `candidates`, the one that differs from `word` by the fewest typing mistakes; empty if each has more
/// than `most`. Time is limited, however long the word is.
std::string_view mistypedWord(std::string_view word, const Words& candidates, std::size_t most = 2);

/// The same, but a word that is the beginning or the end of a candidate, or has one more part, is also meant
/// to be that candidate.
std::string_view similarWord(std::string_view word, const Words& candidates);

}  // namespace kelo_client
