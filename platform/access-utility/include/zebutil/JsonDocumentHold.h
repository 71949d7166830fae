#pragma once

#include <zebutil/Export.h>

namespace zebutil::detail {

class JsonDocument;

/// A share of a parsed document, which lives as long as anybody holds it. A detail of `JsonObject` and
/// `JsonArray`: a view is a hold and a place in the document.
///
/// Thread safety: that of a plain value. Holds of one document may be used on different threads.
class ZEBUTIL_EXPORT JsonDocumentHold {
 public:
    /// Holds nothing.
    JsonDocumentHold() noexcept = default;
    /// Takes over one share that was counted already.
    explicit JsonDocumentHold(const JsonDocument* document) noexcept : document_(document) {}
    JsonDocumentHold(const JsonDocumentHold& other) noexcept;
    JsonDocumentHold(JsonDocumentHold&& other) noexcept;
    JsonDocumentHold& operator=(JsonDocumentHold other) noexcept;
    ~JsonDocumentHold();

    explicit operator bool() const noexcept { return document_ != nullptr; }
    const JsonDocument* operator->() const noexcept { return document_; }
    const JsonDocument& operator*() const noexcept { return *document_; }

 private:
    const JsonDocument* document_ = nullptr;
};

}  // namespace zebutil::detail
