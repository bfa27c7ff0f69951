#include "core/reader/InMemoryFileLogReader.h"

namespace korvane {

std::shared_ptr<LogFileReaderProtocol> InMemoryFileLogReader::create(const QUrl& fileUrl) {
    return std::shared_ptr<InMemoryFileLogReader>(
        new InMemoryFileLogReader(fileUrl, IndexedFile::Storage::Memory));
}

} // namespace korvane
