#include "Recorder.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "json/Json.h"

namespace zebbussim {

namespace {

constexpr const char* kEnd = "\n]\n";

}  // namespace

std::string recordedEntry(const BusEvent& event, std::chrono::milliseconds begin) {
    if (event.kind != BusEvent::Kind::StepDone) {
        return {};
    }
    const std::string at = "{\"at\":" + std::to_string(event.at.value_or(event.time - begin).count()) + ",";
    if (event.name == "print") {
        return at + "\"print\":" + quoted(event.text) + "}";
    }
    return event.data ? at + event.data->substr(1) : std::string();
}

Recorder::Recorder(Journal& journal, const std::string& fileName)
    : fileName_(fileName),
      file_(fileName, std::ios::in | std::ios::out | std::ios::trunc | std::ios::binary),
      begin_(journal.now()) {
    file_ << "[";
    end_ = file_.tellp();
    file_ << kEnd << std::flush;
    if (!file_) {
        throw std::runtime_error("Cannot write the recording " + fileName + ": " + std::strerror(errno));
    }
    registration_ = journal.listen([this](const BusEvent& event) { take(event); });
}

void Recorder::take(const BusEvent& event) {
    const std::string entry = recordedEntry(event, begin_);
    if (!entry.empty() && problem_.empty()) {
        write(entry);
    }
}

void Recorder::write(const std::string& entry) {
    errno = 0;
    file_.seekp(end_);
    file_ << (isEmpty_ ? "\n " : ",\n ") << entry;
    const std::streampos end = file_.tellp();
    file_ << kEnd << std::flush;
    if (!file_) {
        problem_ = "Cannot write the recording " + fileName_ + " any more: " + std::strerror(errno);
        return;
    }
    end_ = end;
    isEmpty_ = false;
}

}  // namespace zebbussim
