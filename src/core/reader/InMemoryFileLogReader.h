#pragma once

#include "core/reader/LogReader.h"

namespace korvane {

/// A reader that holds the bytes of the whole file in memory, for users who trade memory for speed. Its line
/// count is 0 before the first scan, and its lines can be read after `close`.
class InMemoryFileLogReader final : public LogReader {
public:
    static std::shared_ptr<LogFileReaderProtocol> create(const QUrl& fileUrl);

private:
    using LogReader::LogReader;
};

} // namespace korvane
