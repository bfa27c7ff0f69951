#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <memory>

namespace korvane {

class DocumentProtocol;

/// The data source as the follower of its file uses it. Held by shared pointer; any thread.
class FollowedDataSource {
public:
    virtual ~FollowedDataSource() = default;

    /// Null if the file is not followed through a reader.
    virtual std::shared_ptr<LogFileReaderProtocol> followedReader() const = 0;
    /// Null once the document has been closed.
    virtual std::shared_ptr<DocumentProtocol> getDocument() const = 0;
    /// Lines were appended or changed: their pages are read again when they are needed, and
    /// `DocumentNotices::rowsUpdated` is posted.
    virtual void announceChangedLines(LineRange changed) = 0;
    /// A new file generation: all rows and search results are dropped before `DocumentNotices::rowsUpdated`
    /// is posted.
    virtual void announceOtherContent(LineRange changed) = 0;

    // Follow events for observers that need every appended line.

    /// Everything indexed so far existed before following began.
    virtual void followingBegan() = 0;
    /// More lines may be indexed than before; they have been appended.
    virtual void linesArrived() = 0;
    /// A poll has ended, with or without changes.
    virtual void filePolled() = 0;
    /// The index is empty and a new file generation begins with its first line.
    virtual void contentForgotten() = 0;
    /// Whether all appended lines have been evaluated, so that the file may be released. May wait for a
    /// moment.
    virtual bool letArrivedLinesPass() = 0;
};

} // namespace korvane
