#pragma once

#include <clampcontrolclient/Export.h>

#include <string>

namespace csc_logging {

/// The text of one log message, built from pieces of text and numbers. Nothing is inserted between two
/// pieces.
///
///     CSCLogging::LogInfo(CSCLogEntry("answered after ") << milliseconds << " ms");
///
/// Failures: an append throws `std::length_error` ("basic_string::append") if the text would exceed the
/// largest possible string, and `std::bad_alloc` if memory runs out. It cannot fail otherwise.
///
/// Thread safety: an entry belongs to one thread at a time.
class CLAMPCONTROL_EXPORT CSCLogEntry {
 public:
    CSCLogEntry() = default;
    explicit CSCLogEntry(const std::string& text);
    /// Takes over `text` and leaves it empty.
    explicit CSCLogEntry(std::string&& text);
    /// `text` is NUL-terminated; throws `std::logic_error` if it is null.
    explicit CSCLogEntry(const char* text);

    /// The text so far. The reference stays valid as long as the entry exists.
    const std::string& Get() const noexcept { return text_; }

    /// Empties the text and keeps its storage.
    void Clear() noexcept { text_.clear(); }

    CSCLogEntry& operator<<(const std::string& text);
    /// `text` is NUL-terminated and not null.
    CSCLogEntry& operator<<(const char* text);
    CSCLogEntry& operator<<(int value);
    CSCLogEntry& operator<<(long value);
    CSCLogEntry& operator<<(unsigned int value);
    CSCLogEntry& operator<<(unsigned short value);
    /// The byte as a number from 0 to 255, never as a character.
    CSCLogEntry& operator<<(unsigned char value);

    /// "0x" and the value in lower-case hexadecimal without leading zeros.
    CSCLogEntry& insertAsHex(unsigned char value);

 private:
    std::string text_;
};

}  // namespace csc_logging
