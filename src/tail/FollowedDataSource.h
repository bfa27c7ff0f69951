#pragma once

#include "core/reader/LogFileReaderProtocol.h"

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
    /// `DocumentNotices::rowsUpdated` follows.
    virtual void announceChangedLines(LineRange changed) = 0;
    /// The file holds another content now: all rows and search results go, before
    /// `DocumentNotices::rowsUpdated` says the same as above.
    virtual void announceOtherContent(LineRange changed) = 0;

    // What following tells besides, for whoever is to hear of every line that arrives.

    /// What is known of the file by now was there before.
    virtual void followingBegan() = 0;
    /// More lines may be known than before: they have arrived.
    virtual void linesArrived() = 0;
    /// A look at the file is over, whatever it has found.
    virtual void filePolled() = 0;
    /// The lines known so far are let go of, and no others are known yet: what comes next is another content,
    /// from its first line.
    virtual void contentForgotten() = 0;
    /// Whether everything that has arrived has been dealt with, so that the file may be let go of. May wait
    /// for a moment.
    virtual bool letArrivedLinesPass() = 0;
};

} // namespace korvane
