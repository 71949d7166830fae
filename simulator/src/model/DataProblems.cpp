#include "DataProblems.h"

#include <internal/TextPlaces.h>

#include <algorithm>

namespace zebbussim {

std::string DataProblems::sentences() const {
    std::string text;
    for (const DataProblem& problem : kept_) {
        text.append(text.empty() ? "" : " ").append(problem.message);
    }
    return leftOut_ == 0 ? text : text + " And " + std::to_string(leftOut_) + " more.";
}

std::vector<std::string> DataProblems::lines(const std::string& source, std::string_view text) const {
    std::vector<DataProblem> ordered = kept_;
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const DataProblem& one, const DataProblem& other) { return one.byte < other.byte; });
    const internal::TextPlaces places(text);
    std::vector<std::string> lines;
    for (const DataProblem& problem : ordered) {
        const internal::TextPlace place = places.inCharacters(problem.byte);
        lines.push_back(source + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) +
                        ": " + problem.message);
    }
    if (leftOut_ > 0) {
        lines.push_back("and " + std::to_string(leftOut_) + " more");
    }
    return lines;
}

}  // namespace zebbussim
