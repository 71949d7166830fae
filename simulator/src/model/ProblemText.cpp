#include "ProblemText.h"

#include <internal/EscapedText.h>

namespace zebbussim {

namespace {

using Kind = internal::JsonPlace::Kind;
using internal::Words;

constexpr std::size_t kLongestExcerpt = 100;
/// As many words are listed beside the one that was probably meant.
constexpr std::size_t kFewWords = 5;

}  // namespace

std::string inQuotes(std::string_view text) {
    return '"' + internal::escapedText(text, kLongestExcerpt) + '"';
}

std::string listed(const Words& words, const char* lastWord) {
    std::string text;
    for (std::size_t index = 0; index < words.size(); ++index) {
        text += index == 0 ? "" : index + 1 < words.size() ? ", " : lastWord;
        text += inQuotes(words[index]);
    }
    return text;
}

std::string foundText(const internal::JsonPlaces& places, const internal::JsonPlace& value) {
    switch (value.kind) {
        case Kind::Object:
            return "an object";
        case Kind::Array:
            return "a list";
        default:
            return internal::escapedText(places.text(value), kLongestExcerpt);
    }
}

std::string suggestion(std::string_view word, const Words& candidates, const std::string& heading) {
    const std::string_view meant = internal::similarWord(word, candidates);
    std::string text = meant.empty() ? "" : " Did you mean " + inQuotes(meant) + "?";
    if (meant.empty() || candidates.size() <= kFewWords) {
        text += " " + heading + " " + listed(candidates, " and ") + ".";
    }
    return text;
}

}  // namespace zebbussim
