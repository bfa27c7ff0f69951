#pragma once

#include "documents/TailDataSource.h"

#include <mutex>
#include <optional>

namespace korvane {

class RemoteFile;

/// The rows of a file on a server. Its lines are counted there by a worker, one count at a time; until there
/// is an answer the last one holds.
class RemoteLogDataSource : public TailDataSource {
public:
    RemoteLogDataSource(const std::shared_ptr<DocumentProtocol>& document, std::shared_ptr<RemoteFile> file);

    /// The last known count; has the server asked when there is none, which is so for an empty file, too.
    qint64 rowCount() const override;
    std::optional<SearchMatch> searchRow(qint64 row, const SearchItem& item) override;
    SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override;
    std::optional<QStringList> readLines(qint64 first, qint64 count,
                                         const std::function<bool()>& isCancelled) override;
    /// By the mean length of a line.
    std::uint64_t byteCount(qint64 first, qint64 count) const override;

    /// Keeps the requests for the neighbours of these rows' pages, and asks ahead in the direction in which
    /// the rows have gone.
    void dropRequestsOutside(qint64 firstRow, qint64 lastRow) override;
    void followingBegan() override;
    void close() override;

    /// Gives up a count that nobody has begun by a call of one of those below, and begins none until then.
    void cancelCount();

    /// The size as it was seen last; nothing before. Any thread.
    std::optional<quint64> knownFileSize() const;
    void setKnownFileSize(std::optional<quint64> bytes);

    using IsCancelled = std::function<bool()>;

    // What the reading of the file finds out. A worker's thread: waits for the server, and for another count
    // under way. Changed rows are announced.

    /// The lines known so far may not be those of the file any more.
    void countLines(const IsCancelled& isCancelled);
    /// What was the last line, and what follows, is loaded again.
    void fileHasGrown(const IsCancelled& isCancelled);
    /// All rows go. `size` is 0 also when it cannot be measured.
    void fileHasShrunk(quint64 size, const IsCancelled& isCancelled);
    /// All rows go, if there are any.
    void fileIsEmpty();

protected:
    std::shared_ptr<PageLoadOperation> makeLoadOperation(const PageRequest& request) override;
    std::any arrivalNotice(qint64 page) const override { return page; }

private:
    enum class Content { Known, Grown, Other };

    void count(Content content, const IsCancelled& isCancelled);
    void announce(Content content, qint64 before, qint64 now);
    /// Lets the lines that have come since the last call pass the rules that tell the user of lines, in the
    /// background, whether or not anyone looks at them.
    /// `emptied`: what the number of such events was when the count began.
    void passArrivedLines(Content content, qint64 now, std::uint64_t emptied);
    void forgetArrivedLines(std::optional<qint64> arrivedFrom);
    /// The page's lines, from the rows or from the server. Nothing when they cannot be read.
    std::optional<QStringList> linesOfPage(qint64 page, const std::function<bool()>& isCancelled);

    const std::shared_ptr<RemoteFile> file_;
    qint64 lastFirstRow_ = 0; // main thread

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    qint64 lastLineCount_ = 0;  // 0 = not known
    qint64 shownLineCount_ = 0; // the last that was known
    std::optional<quint64> knownFileSize_;
    bool isCountUnwanted_ = false;
    std::uint64_t emptied_ = 0; // how often all rows have gone without a count
    /// Lines before this one were there when following began, or have been handed to the rules. Nothing while
    /// it is not known what was there.
    std::optional<qint64> arrivedFrom_;

    /// Held while the server counts.
    std::mutex countMutex_;
    /// What has been found of the content since the last count that succeeded. Guarded by countMutex_.
    Content uncounted_ = Content::Known;
    /// At most one count that a look at the rows has asked for.
    mutable OperationQueue countQueue_;
    OperationQueue arrivedQueue_;
};

} // namespace korvane
