#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "support/Gate.h"
#include "support/Guarded.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace korvane::test {

/// A reader whose lines, faults and pace a test decides. Any thread.
class FakeReader : public LogFileReaderProtocol {
public:
    explicit FakeReader(qint64 lineCount) : lines_(lineCount) {}

    // Set by the test.
    Gate readGate; ///< passed in the middle of every page read
    std::atomic<bool> isInvalid{false};
    std::atomic<bool> isUnreadable{false};
    /// The body of `refresh`, without the reports of its start and end.
    std::function<LineRange(FakeReader&)> scan = [](FakeReader& self) {
        return LineRange{self.lineCount() - 1, 0};
    };

    void setLineCount(qint64 count) { lines_ = count; }
    /// Precedes the number in every line read from now on.
    void setPrefix(const QString& prefix) { prefix_.exchange(prefix); }
    /// One-based starts of the reads so far.
    std::vector<qint64> readStarts() const { return readStarts_.get(); }
    bool isCancelled() const { return isCancelled_; }
    bool isScanCancelled() const { return isScanCancelled_; }

    std::shared_ptr<LogReaderDelegate> delegate() const override { return delegate_.get(); }
    void setDelegate(std::shared_ptr<LogReaderDelegate> delegate) override {
        delegate_.exchange(std::move(delegate));
    }
    void cancel() override { isCancelled_ = true; }
    void cancelScan() override { isScanCancelled_ = true; }
    void close() override {}
    std::uint64_t fileSize() override { return 1000; }
    LineRange refresh() override {
        const auto listener = delegate();
        if (listener)
            listener->readerDidStart(fileSize());
        isScanCancelled_ = false;
        const LineRange result = scan(*this);
        if (listener)
            isScanCancelled_ ? listener->readerDidCancel() : listener->readerDidFinish();
        return result;
    }
    void reset() override {
        isCancelled_ = false;
        lines_ = 1;
    }
    void indexLines() override {}
    qint64 lineCount() const override { return lines_; }
    QStringList readLines(qint64, qint64) override { return {}; }
    DisplayLines readRows(qint64 start, qint64 count, RowLength /*length*/) override {
        const qint64 last = std::min(start + count - 1, lineCount());
        DisplayLines read;
        const QString prefix = prefix_.get();
        readStarts_.add(start);
        readGate.pass();
        if (isUnreadable || isCancelled_)
            return read;
        for (qint64 number = std::min(start, last); number <= last; ++number)
            read.lines.push_back({prefix + QString::number(number),
                                  static_cast<std::uint64_t>(number == 7 ? 99 : 0), isInvalid});
        return read;
    }
    std::uint64_t byteCount(qint64, qint64) const override { return 0; }
    EncodingChoice encodingChoice() const override { return {}; }
    void setEncodingChoice(EncodingChoice) override {}
    StringEncoding fileEncoding() const override { return encoding::utf8; }

private:
    std::atomic<qint64> lines_;
    std::atomic<bool> isCancelled_{false};
    std::atomic<bool> isScanCancelled_{false};
    Guarded<std::shared_ptr<LogReaderDelegate>> delegate_;
    Guarded<std::vector<qint64>> readStarts_;
    Guarded<QString> prefix_;
};

} // namespace korvane::test
