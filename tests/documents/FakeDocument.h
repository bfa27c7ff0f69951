#pragma once

#include "core/DocumentProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "documents/LogTableDataSource.h"
#include "foundation/FilePath.h"

#include <memory>

namespace korvane::test {

class FakeDocument : public DocumentProtocol {
public:
    explicit FakeDocument(std::shared_ptr<LogFileReaderProtocol> reader) : reader_(std::move(reader)) {}

    QUrl fileUrl() const override { return fileUrlFromPath("/logs/a b.log"); }
    QString displayName() const override { return QStringLiteral("a b.log"); }
    std::shared_ptr<LogFileReaderProtocol> logReader() const override { return reader_; }
    std::shared_ptr<TailDataSourceProtocol> dataSource() const override { return nullptr; }
    std::shared_ptr<FileObserverProtocol> logFileObserver() const override { return nullptr; }

private:
    const std::shared_ptr<LogFileReaderProtocol> reader_;
};

/// One whose rules the test sets.
class RuledDataSource : public LogTableDataSource {
public:
    using LogTableDataSource::LogTableDataSource;
    using TailDataSource::setRuleEnforcer;
};

} // namespace korvane::test
