#pragma once

#include <internal/JsonPlaces.h>
#include <internal/SimilarWord.h>

#include <string>
#include <string_view>

namespace zebbussim {

// Parts of the messages about mistakes in data. What comes from the data is escaped and shortened.

std::string inQuotes(std::string_view text);

/// "a", "b" or "c", where `lastWord` is " or ".
std::string listed(const internal::Words& words, const char* lastWord);

/// A value, whatever it is: "an object", "5".
std::string foundText(const internal::JsonPlaces& places, const internal::JsonPlace& value);

/// The end of a message about a wrong word: the one that was probably meant, and the list of all behind
/// `heading` if there are few or none is similar.
std::string suggestion(std::string_view word, const internal::Words& candidates, const std::string& heading);

}  // namespace zebbussim
