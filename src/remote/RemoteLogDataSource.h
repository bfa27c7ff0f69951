#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "documents/TailDataSource.h"
#include "remote/LineCount.h"

#include <mutex>
#include <optional>
#include <vector>

namespace korvane {

class RemoteFile;
class RemoteLoadLinesOperation;
class RemoteReader;

/// The rows of a file on a server. Its lines are counted there by a worker, one count at a time; until there
/// is an answer the last one holds.
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
    /// By the mean length of a line.
    std::uint64_t byteCount(qint64 first, qint64 count) const override;

    /// Keeps the requests for the neighbours of these rows' pages, and asks ahead in the direction in which
    /// the rows have gone.
    void dropRequestsOutside(qint64 firstRow, qint64 lastRow) override;
    /// Has the server count where there is no count, which is so for an empty file, too. Main thread.
    void ensureCounted();
    void followingBegan() override;
    /// Lines that arrive from now on notify no rules.
    void followingEnded();
    void close() override;

    /// Gives up a count that nobody has begun by a call of one of those below, and begins none until then.
    void cancelCount();

    /// The size as it was seen last; nothing before. Any thread.
    std::optional<quint64> knownFileSize() const;
    void setKnownFileSize(std::optional<quint64> bytes);

    using IsCancelled = std::function<bool()>;

    /// Whatever is known of the file's lines is counted and looked for again. Any thread, does not wait.
    void forgetPlaces();
    /// Before the lines have been counted: so many are there. Any thread, does not wait.
    void firstLinesRead(qint64 lineCount);
    /// As above, while more are on their way.
    void firstLinesShown(qint64 lineCount);
    /// Has the load show its first lines in the background. Any thread, does not wait.
    void showSoFar(const std::weak_ptr<RemoteLoadLinesOperation>& load,
                   const std::vector<DisplayLine>& lines);

    // What the reading of the file finds out. A worker's thread: waits for the server, and for another count
    // under way. Changed rows are announced.

    /// The lines known so far may not be those of the file any more.
    void countLines(const IsCancelled& isCancelled);
    /// What follows the last line is asked for, if the file is still the same.
    void fileHasGrown(quint64 size, const IsCancelled& isCancelled);
    /// All rows go.
    void fileHasShrunk(quint64 size, const IsCancelled& isCancelled);
    /// The size has not changed since the last look. What is known of the lines may still be of another size:
    /// somebody else has read the file in between.
    void filePolledWith(quint64 size, const IsCancelled& isCancelled);

protected:
    std::shared_ptr<PageLoadOperation> makeLoadOperation(const PageRequest& request) override;

private:
    RemoteLogDataSource(const std::shared_ptr<DocumentProtocol>& document, std::shared_ptr<RemoteFile> file);
    std::shared_ptr<RemoteLogDataSource> self() const;
    void countInBackground(FileChange change) const;
    /// `size`: of the file, where it is known.
    void count(FileChange change, std::optional<quint64> size, const IsCancelled& isCancelled);
    /// With the lock of counts held. False when the file has been emptied since the count began.
    bool takeCount(qint64 counted, std::uint64_t generation);
    void announce(FileChange change, qint64 before, qint64 now);
    /// Lets the lines that have come since the last call pass the rules that tell the user of lines, in the
    /// background, whether or not anyone looks at them.
    /// `generation`: that of the lines when the count began.
    void passArrivedLines(FileChange change, qint64 counted, std::uint64_t generation);
    void forgetArrivedLines(std::optional<qint64> reported);
    /// Lines of one page.
    struct Texts {
        QStringList lines;
        /// The page has more of them, which are too many bytes to be read at once.
        bool isPartial = false;
    };
    /// From this line on, from the rows or from the server. Nothing when they cannot be read.
    std::optional<Texts> texts(qint64 first, const std::function<bool()>& isCancelled);

    const std::shared_ptr<RemoteFile> file_;
    const std::shared_ptr<RemoteReader> reader_;
    qint64 lastFirstRow_ = 0; // main thread

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    LineCount count_;
    std::optional<quint64> knownFileSize_;

    /// Held while the server counts.
    std::mutex countMutex_;
    /// What has been found of the content since the last count that succeeded. Guarded by countMutex_.
    FileChange uncounted_ = FileChange::None;
    /// At most one count that a look at the rows has asked for.
    mutable OperationQueue countQueue_;
    OperationQueue arrivedQueue_;
    OperationQueue soFarQueue_{"Remote rows on their way", 1};
};

} // namespace korvane
