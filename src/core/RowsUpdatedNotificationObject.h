#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <memory>

namespace korvane {

class DocumentProtocol;

/// What travels with `notification::rowsUpdated`, held by shared pointer.
struct RowsUpdatedNotificationObject {
    /// The document whose lines changed; it may have been closed meanwhile.
    std::weak_ptr<DocumentProtocol> doc;
    /// The changed zero-based line indexes, a contiguous range.
    LineRange idx;
    /// The file holds another content than before: no line is what it was.
    bool isOtherContent = false;
};

} // namespace korvane
