#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "documents/TailDataSource.h"
#include "foundation/Mutex.h"
#include "remote/LineCount.h"

#include <optional>
#include <vector>

namespace korvane {

class RemoteFile;
class RemoteLoadLinesOperation;
class RemoteReader;

/// The rows of a file on a server. A worker has the server count the lines, one count at a time; until the
/// answer the last count is valid.
class RemoteLogDataSource : public TailDataSource {
public:
    static std::shared_ptr<RemoteLogDataSource> create(const std::shared_ptr<DocumentProtocol>& document,
                                                       std::shared_ptr<RemoteFile> file);

    /// The last known count.
    qint64 rowCount() const override;
    std::optional<SearchMatch> searchRow(qint64 row, const SearchItem& item) override;
    SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override;
    std::optional<QStringList> readLines(qint64 first, qint64 count,
                                         const std::function<bool()>& isCancelled) override;
    /// Estimated from the mean length of a line.
    std::uint64_t byteCount(qint64 first, qint64 count) const override;

    /// Keeps the requests for the pages of these rows and their neighbours, and prefetches in the direction
    /// of scrolling.
    void dropRequestsOutside(qint64 firstRow, qint64 lastRow) override;
    /// Requests a count if none is known or the file was empty. Main thread.
    void ensureCounted();
    void followingBegan() override;
    /// Lines appended from now on trigger no notifications.
    void followingEnded();
    void close() override;

    /// Cancels a count in the background, and requests none until `countLines`, `fileHasGrown` or
    /// `fileHasShrunk`.
    void cancelCount();

    /// The last known size; nullopt before. Any thread.
    std::optional<quint64> knownFileSize() const;
    void setKnownFileSize(std::optional<quint64> bytes);

    using IsCancelled = std::function<bool()>;

    /// Drops everything known about the file's lines, so that they are counted and located again. Any thread,
    /// does not wait.
    void forgetPlaces();
    /// Reports the number of lines of the first page before a count. Any thread, does not wait.
    void firstLinesRead(qint64 lineCount);
    /// As above, while the rest of the page is being read.
    void firstLinesShown(qint64 lineCount);
    /// Shows the first lines of the load in the background. Any thread, does not wait.
    void showSoFar(const std::weak_ptr<RemoteLoadLinesOperation>& load,
                   const std::vector<DisplayLine>& lines);

    // Findings of the reading of the file. On a worker: waits for the server, and for another count under
    // way. Posts notices of changed rows.

    /// The known lines may no longer be those of the file.
    void countLines(const IsCancelled& isCancelled);
    /// Requests what follows the last line, if the file is still the same.
    void fileHasGrown(quint64 size, const IsCancelled& isCancelled);
    /// Removes all rows.
    void fileHasShrunk(quint64 size, const IsCancelled& isCancelled);
    /// The size has not changed since the last poll. The known lines may still belong to another size, if a
    /// page load or count has read the file in between.
    void filePolledWith(quint64 size, const IsCancelled& isCancelled);

protected:
    std::shared_ptr<PageLoadOperation> makeLoadOperation(const PageRequest& request) override;

private:
    RemoteLogDataSource(const std::shared_ptr<DocumentProtocol>& document, std::shared_ptr<RemoteFile> file);
    std::shared_ptr<RemoteLogDataSource> self() const;
    void countInBackground(FileChange change) const;
    /// `size`: of the file, if known.
    void count(FileChange change, std::optional<quint64> size, const IsCancelled& isCancelled);
    /// False if the file has been emptied since the count began.
    bool takeCount(qint64 counted, std::uint64_t generation) REQUIRES(countMutex_);
    void announce(FileChange change, qint64 before, qint64 now);
    /// Evaluates the notifying rules over the lines appended since the last call, in the background, whether
    /// or not they are visible. `generation`: that of the lines when the count began.
    void passArrivedLines(FileChange change, qint64 counted, std::uint64_t generation);
    void forgetArrivedLines(std::optional<qint64> reported);
    /// Lines of one page.
    struct Texts {
        QStringList lines;
        /// The page has more lines, too large to be read at once.
        bool isPartial = false;
    };
    /// The lines from `first` on, from the rows or from the server. Nullopt if they cannot be read.
    std::optional<Texts> texts(qint64 first, const std::function<bool()>& isCancelled);

    const std::shared_ptr<RemoteFile> file_;
    const std::shared_ptr<RemoteReader> reader_;
    qint64 lastFirstRow_ = 0; // main thread

    mutable Mutex mutex_;
    LineCount count_ GUARDED_BY(mutex_);
    std::optional<quint64> knownFileSize_ GUARDED_BY(mutex_);

    /// Held while the server counts.
    Mutex countMutex_;
    /// How the file has changed since the last count that succeeded.
    FileChange uncounted_ GUARDED_BY(countMutex_) = FileChange::None;
    /// At most one count, requested for the rows in view.
    mutable OperationQueue countQueue_;
    OperationQueue arrivedQueue_;
    OperationQueue soFarQueue_{"Remote rows on their way", 1};
};

} // namespace korvane
