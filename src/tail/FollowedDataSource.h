#pragma once

#include "core/LogFileReaderProtocol.h"

#include <memory>

namespace korvane {

class DocumentProtocol;

/// What following a file needs of the source of its rows. Held by shared pointer; any thread.
class FollowedDataSource {
public:
    virtual ~FollowedDataSource() = default;

    /// Null for what is not followed by its reader.
    virtual std::shared_ptr<LogFileReaderProtocol> followedReader() const = 0;
    /// Null once the document has been closed.
    virtual std::shared_ptr<DocumentProtocol> getDocument() const = 0;
    /// Lines were added or changed: their pages are read again when they are needed, and
    /// `notification::rowsUpdated` follows.
    virtual void announceChangedLines(LineRange changed) = 0;
    /// The file holds another content now: all rows and search results go, before
    /// `notification::rowsUpdated` says the same as above.
    virtual void announceOtherContent(LineRange changed) = 0;
};

} // namespace korvane
