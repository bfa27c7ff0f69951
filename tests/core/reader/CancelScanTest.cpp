#include "core/reader/InMemoryFileLogReader.h"
#include "core/reader/LogReader.h"
#include "support/TemporaryFile.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

/// Gives the scan up after some bytes.
class GivesUp : public LogReaderDelegate {
public:
    GivesUp(LogFileReaderProtocol& reader, std::uint64_t after) : reader_(reader), left_(after) {}
    void readerDidReadBytes(std::uint64_t count) override {
        left_ -= std::min(left_, count);
        if (left_ == 0)
            reader_.cancelScan();
    }
    void readerDidCancel() override { isCancelReported = true; }
    bool isCancelReported = false;

private:
    LogFileReaderProtocol& reader_;
    std::uint64_t left_;
};

TEST(CancelScan, WhatWasFoundCanBeReadAndTheNextScanGoesOnFromThere) {
    QByteArray content;
    for (int number = 1; number <= 20'000; ++number)
        content += QByteArray::number(number) + '\n';
    const test::TemporaryFile file(content);
    for (const auto& reader : {LogReader::create(file.url()), InMemoryFileLogReader::create(file.url())}) {
        const auto delegate = std::make_shared<GivesUp>(*reader, 40'000);
        reader->setDelegate(delegate);
        const LineRange found = reader->refresh();
        EXPECT_TRUE(delegate->isCancelReported);
        const qint64 count = reader->lineCount();
        EXPECT_EQ(found.location + found.length, count);
        EXPECT_GT(count, 5000);
        EXPECT_LT(count, 15'000);
        const DisplayLines last = reader->readRows(count - 1, 2, RowLength::Shown);
        ASSERT_EQ(last.lines.size(), 2U);
        EXPECT_EQ(last.lines[0].text, QString::number(count - 1));
        EXPECT_TRUE(QString::number(count).startsWith(last.lines[1].text));

        reader->setDelegate(nullptr);
        reader->refresh();
        EXPECT_EQ(reader->lineCount(), 20'001);
        const DisplayLines seam = reader->readRows(count, 2, RowLength::Shown);
        ASSERT_EQ(seam.lines.size(), 2U);
        EXPECT_EQ(seam.lines[0].text, QString::number(count));
        EXPECT_EQ(seam.lines[1].text, QString::number(count + 1));
    }
}

} // namespace
} // namespace korvane
