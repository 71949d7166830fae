#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace internal {

using Words = std::vector<std::string_view>;

/// How words are compared.
namespace words {

constexpr std::size_t kLongestWord = 40;
constexpr std::size_t kShortestPart = 4;

/// The letters and digits in lower case, at most a few more than the longest word has.
inline std::string plain(std::string_view word) {
    std::string result;
    for (const char character : word.substr(0, 2 * kLongestWord)) {
        if (character >= 'A' && character <= 'Z') {
            result.push_back(static_cast<char>(character - 'A' + 'a'));
        } else if (character != '_' && character != '-' && character != ' ' && character != '.') {
            result.push_back(character);
        }
    }
    return result;
}

/// How many characters have to be inserted, removed, replaced, or exchanged with their neighbour.
inline std::size_t mistakes(const std::string& word, const std::string& other) {
    using Row = std::array<std::size_t, kLongestWord + 1>;
    Row beforeLast{};
    Row last{};
    Row row{};
    for (std::size_t column = 0; column <= other.size(); ++column) {
        row[column] = column;
    }
    for (std::size_t line = 1; line <= word.size(); ++line) {
        beforeLast = last;
        last = row;
        row[0] = line;
        for (std::size_t column = 1; column <= other.size(); ++column) {
            const bool isSame = word[line - 1] == other[column - 1];
            row[column] =
                std::min({last[column] + 1, row[column - 1] + 1, last[column - 1] + (isSame ? 0 : 1)});
            const bool isExchanged = line > 1 && column > 1 && word[line - 1] == other[column - 2] &&
                                     word[line - 2] == other[column - 1];
            if (isExchanged) {
                row[column] = std::min(row[column], beforeLast[column - 2] + 1);
            }
        }
    }
    return row[other.size()];
}

inline std::size_t commonBeginning(const std::string& word, const std::string& other) {
    const auto end = std::mismatch(word.begin(), word.end(), other.begin(), other.end()).first;
    return static_cast<std::size_t>(end - word.begin());
}

inline bool isPart(const std::string& part, const std::string& whole) {
    return part.size() >= kShortestPart && part.size() < whole.size() &&
           (whole.compare(0, part.size(), part) == 0 ||
            whole.compare(whole.size() - part.size(), part.size(), part) == 0);
}

}  // namespace words

/// Whether two words differ only in case, or in signs between their parts, as "serverBaseUri" and
/// "server_base_uri" do.
inline bool isSameWord(std::string_view word, std::string_view other) {
    return word.size() <= 2 * words::kLongestWord && words::plain(word) == words::plain(other);
}

/// Of `candidates`, the one that differs from `word` by the fewest typing mistakes; empty if each has more
/// than `most`. Of several, the one with the longest beginning in common. Time is limited, however long the
/// word is.
inline std::string_view mistypedWord(std::string_view word, const Words& candidates, std::size_t most = 2) {
    const std::string given = words::plain(word);
    std::string_view best;
    std::size_t fewest = std::numeric_limits<std::size_t>::max();
    std::size_t longestBeginning = 0;
    for (const std::string_view candidate : candidates) {
        const std::string expected = words::plain(candidate);
        const std::size_t shorter = std::min(given.size(), expected.size());
        const std::size_t longer = std::max(given.size(), expected.size());
        // In a short word, two mistakes could make any other.
        const std::size_t allowed = std::min(most, expected.size() / 3);
        if (longer > words::kLongestWord || longer - shorter > allowed) {
            continue;
        }
        const std::size_t count = words::mistakes(given, expected);
        const std::size_t beginning = words::commonBeginning(given, expected);
        const bool isBetter = count < fewest || (count == fewest && beginning > longestBeginning);
        if (count <= allowed && isBetter) {
            fewest = count;
            longestBeginning = beginning;
            best = candidate;
        }
    }
    return best;
}

/// The same, but a word that is the beginning or the end of a candidate, or has one more part, is also meant
/// to be that candidate.
inline std::string_view similarWord(std::string_view word, const Words& candidates) {
    // A single mistake is more likely than a part, and a part is more likely than more mistakes.
    if (const std::string_view mistyped = mistypedWord(word, candidates, 1); !mistyped.empty()) {
        return mistyped;
    }
    const std::string given = words::plain(word);
    if (given.size() <= words::kLongestWord) {
        for (const std::string_view candidate : candidates) {
            const std::string expected = words::plain(candidate);
            if (words::isPart(given, expected) || words::isPart(expected, given)) {
                return candidate;
            }
        }
    }
    return mistypedWord(word, candidates);
}

}  // namespace internal
