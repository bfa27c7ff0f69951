#pragma once

#include "core/reader/IndexedFile.h"
#include "core/search/LineFilter.h"
#include "core/search/MatchBudget.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace korvane {

class FileTextDecoder;
struct FilteredLines;

/// Filters consecutive lines of a file, read in blocks of bytes. One thread; the other parts must outlive it.
class LineFilterRead {
public:
    LineFilterRead(const IndexedFile& file, FileTextDecoder& decoder, LineFilter::Pass& pass,
                   std::function<bool()> isCancelled);

    /// As `LogFileReaderProtocol::filterLines`.
    FilteredLines filter(qint64 first, qint64 count, std::span<MatchBudget::Steps> budgets);

private:
    /// The lines from `first` on that fit into a block; more than one, or one of any length.
    std::optional<IndexedFile::Lines> locateBlock(qint64 first, qint64 count) const;
    /// Reads the bytes of the lines, or their beginning; false when they cannot be read.
    bool read(const IndexedFile::Lines& lines);
    /// As a row shows it.
    QString text(const IndexedFile::Lines& lines, std::size_t line) const;
    /// Of a line longer than a block, which was filtered by its beginning, searches the rest for plain texts.
    void searchLongLine(const IndexedFile::Lines& lines, qint64 line,
                        std::vector<LineFilter::Hits>& hits) const;

    const IndexedFile& file_;
    FileTextDecoder& decoder_;
    LineFilter::Pass& pass_;
    const std::function<bool()> isCancelled_;
    std::unique_ptr<char[]> bytes_;
    std::size_t byteCount_ = 0;
    /// Into a block, by the last one.
    qint64 linesThatMayFit_ = 1024;
    std::vector<std::uint32_t> starts_;
};

} // namespace korvane
