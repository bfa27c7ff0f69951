#pragma once

#include "documents/FakeReader.h"
#include "documents/LogTableDataSource.h"
#include "support/FakeDocument.h"
#include "support/PreferencesTest.h"
#include "support/Waiting.h"

namespace korvane::test {

/// A data source whose rules the test sets.
class RuledDataSource : public LogTableDataSource {
public:
    using LogTableDataSource::LogTableDataSource;
    using TailDataSource::setRuleEnforcer;
};

/// The rows of a document with a reader that the test chooses.
class RowsTest : public PreferencesTest {
protected:
    ~RowsTest() override {
        if (reader_)
            reader_->readGate.open();
    }

    void open(qint64 lineCount) {
        reader_ = std::make_shared<FakeReader>(lineCount);
        openRows(reader_);
    }
    void openRows(const std::shared_ptr<LogFileReaderProtocol>& reader) {
        document_ = std::make_shared<FakeDocument>(reader);
        source_ = std::make_shared<RuledDataSource>(document_);
    }
    bool waitForHeldReads(int count) {
        return waitFor([&] { return reader_->readGate.waiting() == count; });
    }

    std::shared_ptr<FakeReader> reader_;
    std::shared_ptr<FakeDocument> document_;
    std::shared_ptr<RuledDataSource> source_;
};

} // namespace korvane::test
