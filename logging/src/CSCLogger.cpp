#include "CSCLogger.h"

namespace csc_logging {

CSCLogger::CSCLogger(const std::string& name) : logger_(ara::log::CreateLogger(name, "CSC Component")) {}

}  // namespace csc_logging
