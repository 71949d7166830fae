#include "FaultLog.h"

#include <zebutil/ILogger.h>

#include <utility>

namespace zeb {

FaultLog::FaultLog(std::shared_ptr<zebutil::ILogger> logger) : logger_(std::move(logger)) {}

bool FaultLog::warning(std::string_view cause, const std::string& text) {
    return tell(&zebutil::ILogger::warning, cause, text);
}

bool FaultLog::error(std::string_view cause, const std::string& text) {
    return tell(&zebutil::ILogger::error, cause, text);
}

void FaultLog::forget() {
    const std::lock_guard lock(mutex_);
    told_.clear();
}

bool FaultLog::tell(Level level, std::string_view cause, const std::string& text) {
    ToldReasons::Verdict verdict{};
    {
        const std::lock_guard lock(mutex_);
        verdict = told_.judge(cause);
    }
    if (verdict == ToldReasons::Verdict::Tell) {
        ((*logger_).*level)(text);
        return true;
    }
    if (verdict == ToldReasons::Verdict::TellThatMoreCome) {
        ((*logger_).*level)("more faults follow, each for another reason; they are logged at debug level");
    }
    logger_->debug(text);
    return false;
}

}  // namespace zeb
