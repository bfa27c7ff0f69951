#pragma once

#include "core/reader/FileScan.h"
#include "core/reader/FileTextDecoder.h"
#include "core/reader/IndexedFile.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "core/reader/ReadFaultLog.h"
#include "core/reader/RowReader.h"
#include "foundation/Mutex.h"

#include <QByteArrayView>
#include <QUrl>

#include <memory>

namespace korvane {

/// Random access by line number to a local file of any size: holds where every line starts, never the text.
///
/// The one line terminator is LF: a byte, or a unit where the file is known to be UTF-16 or UTF-32 before its
/// first line ends. Scans run one at a time; reading goes on meanwhile, up to the lines that they have
/// published. A reader whose file could not be opened stays inert. Delegates are called on the scanning
/// thread and must not start a scan or a reset.
class LogReader : public LogFileReaderProtocol {
public:
    static std::shared_ptr<LogFileReaderProtocol> create(const QUrl& fileUrl);
    /// As above, with the operations that the interface lacks.
    static std::shared_ptr<LogReader> createReader(const QUrl& fileUrl);

    std::shared_ptr<LogReaderDelegate> delegate() const override;
    void setDelegate(std::shared_ptr<LogReaderDelegate> delegate) override;
    void cancel() override { scan_.cancel(); }
    void cancelScan() override { scan_.cancelScan(); }
    void close() override { file_.close(); }
    std::uint64_t fileSize() override;
    LineRange refresh() override { return scan_.refresh(delegate().get()); }
    LineRange refreshReportingTo(std::shared_ptr<LogReaderDelegate> listener) override;
    bool isBehind() override { return scan_.isBehind(); }
    int scanError() const override { return scan_.error(); }
    std::optional<FileHandle::Identity> fileIdentity() const override { return file_.identity(); }
    Status reopen() override { return scan_.reopen(); }
    void reset() override { scan_.reset(); }
    void startAgain(LogReaderDelegate& listener) override { scan_.startAgain(listener); }
    void indexLines() override { scan_.indexLines(delegate().get()); }
    qint64 lineCount() const override { return file_.index().lineCount(); }
    bool isUnread() const override;
    QStringList readLines(qint64 start, qint64 count) override;
    DisplayLines readRows(qint64 start, qint64 count, RowLength length) override;
    std::uint64_t byteCount(qint64 start, qint64 count) const override;
    std::uint64_t lineEndBytes() const override { return file_.index().view().lineEnd().size; }
    FilteredLines filterLines(qint64 first, qint64 count, LineFilter::Pass& pass,
                              std::span<MatchBudget::Steps> budgets,
                              const std::function<bool()>& isCancelled) override;
    SearchOutcome findNextMatch(qint64 first, qint64 last, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override;
    EncodingChoice encodingChoice() const override { return decoder_.choice(); }
    void setEncodingChoice(EncodingChoice choice) override { decoder_.setChoice(choice); }
    bool needsNewScan() const override { return decoder_.lineEnd() != file_.index().view().lineEnd(); }
    StringEncoding fileEncoding() const override { return decoder_.fileEncoding(); }

    /// The first `n` lines, at least one.
    QStringList readFirstLines(qint64 n);
    /// The last line, whatever `n` is.
    QStringList readLastLines(qint64 n);
    /// The encoding of the data, which the log names; UTF-8 when it cannot be detected.
    StringEncoding detectEncoding(QByteArrayView data) const;

    /// Bytes of memory that the map of line starts holds.
    std::size_t indexHeapBytes() const { return file_.index().heapBytes(); }

protected:
    LogReader(const QUrl& fileUrl, IndexedFile::Storage storage);

private:
    IndexedFile file_;
    FileTextDecoder decoder_;
    ReadFaultLog faults_;
    FileScan scan_;
    RowReader rows_;

    mutable Mutex delegateMutex_;
    std::shared_ptr<LogReaderDelegate> delegate_ GUARDED_BY(delegateMutex_);
};

} // namespace korvane
