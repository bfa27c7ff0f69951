#pragma once

#include "core/DocumentProtocol.h"
#include "foundation/FilePath.h"

namespace korvane::test {

/// A document with nothing but an address and a reader.
class FakeDocument : public DocumentProtocol {
public:
    explicit FakeDocument(std::shared_ptr<LogFileReaderProtocol> reader,
                          QUrl url = fileUrlFromPath("/logs/a b.log"))
        : reader_(std::move(reader)), url_(std::move(url)) {}

    QUrl fileUrl() const override { return url_; }
    QString displayName() const override { return korvane::displayName(url_); }
    std::shared_ptr<LogFileReaderProtocol> logReader() const override { return reader_; }
    std::shared_ptr<TailDataSourceProtocol> dataSource() const override { return nullptr; }
    std::shared_ptr<FileObserverProtocol> logFileObserver() const override { return nullptr; }

private:
    const std::shared_ptr<LogFileReaderProtocol> reader_;
    const QUrl url_;
};

} // namespace korvane::test
