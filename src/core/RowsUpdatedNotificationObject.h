#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <memory>

namespace korvane {

class DocumentProtocol;

/// The lines that `DocumentNotices::rowsUpdated` reports.
struct RowsUpdatedNotificationObject {
    /// The document whose lines changed.
    std::weak_ptr<DocumentProtocol> doc;
    /// The changed zero-based line indexes, a contiguous range.
    LineRange idx;
    /// The file was replaced or rewritten: every line may differ.
    bool isOtherContent = false;
};

} // namespace korvane
