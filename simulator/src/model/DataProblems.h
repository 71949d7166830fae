#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zebbussim {

/// A mistake in data that the simulator is given.
struct DataProblem {
    std::size_t byte = 0;  ///< of the key or the value in the text
    std::string message;   ///< sentences: what is wrong, and what would be right
};

/// The mistakes in a text. Keeps the first ones and counts the others, so that a text full of mistakes costs
/// little.
class DataProblems {
 public:
    static constexpr std::size_t kMost = 20;

    /// `message` returns the text. It is called only for what is kept.
    template <typename Message>
    void add(std::size_t byte, const Message& message) {
        if (kept_.size() < kMost) {
            kept_.push_back({byte, message()});
        } else {
            ++leftOut_;
        }
    }

    bool empty() const { return kept_.empty(); }
    const std::vector<DataProblem>& kept() const { return kept_; }
    std::size_t leftOut() const { return leftOut_; }

    /// All messages in one line.
    std::string sentences() const;
    /// A line "SOURCE:LINE:COLUMN: message" for each, in the order of `text`, in which they were found. A
    /// last line says how many were left out. Lines and columns count from 1, columns count characters.
    std::vector<std::string> lines(const std::string& source, std::string_view text) const;

 private:
    std::vector<DataProblem> kept_;
    std::size_t leftOut_ = 0;
};

}  // namespace zebbussim
