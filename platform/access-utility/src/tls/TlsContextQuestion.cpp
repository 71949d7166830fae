#include <internal/DetachedQuestions.h>
#include <zebutil/TlsContextQuestion.h>

#include <stdexcept>
#include <utility>

#include "TlsContexts.h"
#include "TlsEnvironment.h"

namespace zebutil {

namespace {

using Questions = internal::DetachedQuestions<TlsFiles, TlsContextAnswer>;

TlsContextAnswer answerFrom(const TlsFiles& files) {
    try {
        return {TlsContexts::ofProcess().get(files), {}};
    } catch (const std::runtime_error& failure) {
        return {nullptr, failure.what()};
    }
}

// Never destroyed: threads may be at work at the end of the process.
Questions& questionsOfProcess() {
    static auto& instance =
        *new Questions({"zebTlsFiles", "read its files"}, answerFrom, [](const std::string& reason) {
            return TlsContextAnswer{nullptr, reason};
        });
    return instance;
}

}  // namespace

class TlsContextQuestion::Impl {
 public:
    explicit Impl(Questions::Question asked) : question(std::move(asked)) {}

    const Questions::Question question;
};

TlsContextQuestion::TlsContextQuestion() = default;

TlsContextQuestion::TlsContextQuestion(const std::string& service, Done done)
    : impl_(std::make_unique<Impl>(questionsOfProcess().ask(TlsFiles::of(service), std::move(done)))) {}

TlsContextQuestion::TlsContextQuestion(TlsContextQuestion&& other) noexcept = default;

TlsContextQuestion& TlsContextQuestion::operator=(TlsContextQuestion&& other) noexcept = default;

TlsContextQuestion::~TlsContextQuestion() = default;

void TlsContextQuestion::forget() {
    impl_.reset();
}

void TlsContextQuestion::readEnvironment() {
    TlsEnvironment::readAgain();
}

bool TlsContextQuestion::isPinned(const std::string& service) {
    return TlsFiles::isPinned(service);
}

std::vector<std::string> TlsContextQuestion::takeLeftOut() {
    return TlsContexts::ofProcess().takeLeftOut();
}

}  // namespace zebutil
