#include "foundation/FileHandle.h"

#include "support/TemporaryFile.h"

#include <sys/stat.h>

namespace korvane {
namespace {

std::shared_ptr<FileHandle> opened(const QUrl& url) {
    auto result = FileHandle::openForReading(url);
    return result ? result.value() : nullptr;
}

QByteArray readAt(const FileHandle& handle, std::uint64_t offset, std::size_t count) {
    QByteArray buffer(static_cast<qsizetype>(count), '?');
    const auto got = handle.read(offset, {buffer.data(), count});
    return got ? buffer.left(static_cast<qsizetype>(*got)) : QByteArray("failed");
}

TEST(FileHandle, ReadsAtPositionsAndShortOnlyAtTheEnd) {
    const test::TemporaryFile file("0123456789", "name \xFF%41?#");
    const auto handle = opened(file.url());
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle->size(), 10U);
    EXPECT_EQ(readAt(*handle, 3, 4), "3456");
    EXPECT_EQ(readAt(*handle, 8, 4), "89");
    EXPECT_EQ(readAt(*handle, 10, 4), "");
    EXPECT_EQ(readAt(*handle, 1'000'000, 4), "");
    EXPECT_EQ(readAt(*handle, ~std::uint64_t{0}, 4), "failed");
    file.append("ab");
    EXPECT_EQ(handle->size(), 12U);
    EXPECT_EQ(readAt(*handle, 8, 10), "89ab");
    file.truncate(2);
    EXPECT_EQ(readAt(*handle, 0, 10), "01");
}

TEST(FileHandle, ASparseFileBeyondFourGigabytesIsReadAtItsEnd) {
    const test::TemporaryFile file("");
    const std::uint64_t end = 5'000'000'000;
    file.truncate(static_cast<qint64>(end));
    file.append("tail");
    const auto handle = opened(file.url());
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle->size(), end + 4);
    EXPECT_EQ(readAt(*handle, end, 10), "tail");
}

TEST(FileHandle, WhatIsNoRegularFileIsRefusedWithItsReason) {
    const test::TemporaryFile file("x");
    const QByteArray directory = file.path().left(file.path().lastIndexOf('/'));
    const QByteArray fifo = directory + "/fifo";
    ASSERT_EQ(::mkfifo(fifo.constData(), 0600), 0);
    QUrl cutByNul = file.url();
    cutByNul.setPath(cutByNul.path(QUrl::FullyEncoded) + QStringLiteral("%00.gz"), QUrl::TolerantMode);
    const std::pair<QUrl, int> cases[] = {
        {fileUrlFromPath(file.path() + "x"), ENOENT},
        {fileUrlFromPath(directory), EISDIR},
        {fileUrlFromPath(fifo), EINVAL}, // without waiting for a writer
        {fileUrlFromPath("/dev/null"), EINVAL},
        {cutByNul, ENOENT},
    };
    for (const auto& [url, code] : cases) {
        const auto result = FileHandle::openForReading(url);
        ASSERT_FALSE(result) << url.toString().toStdString();
        EXPECT_EQ(result.error().code, code) << url.toString().toStdString();
        EXPECT_TRUE(result.error().userText.contains(displayPath(url)));
    }
}

} // namespace
} // namespace korvane
