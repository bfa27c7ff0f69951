#include "app/OpenRequest.h"

#include "support/Rows.h"
#include "support/TemporaryFile.h"

#include <QDataStream>
#include <QDir>
#include <QIODevice>

#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace korvane::test {
namespace {

std::vector<Descriptor> duplicates(const std::vector<int>& descriptors) {
    std::vector<Descriptor> copies;
    for (const int descriptor : descriptors)
        copies.emplace_back(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    return copies;
}

std::optional<OpenRequest> sent(const OpenRequest& request) {
    const OpenRequest::Message message = request.message();
    return OpenRequest::fromMessage(message.bytes, duplicates(message.descriptors));
}

QByteArray readable(int descriptor) {
    std::array<char, 100> buffer;
    const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
    return got < 0 ? QByteArray("(cannot be read)") : QByteArray(buffer.data(), got);
}

/// The read end of a pipe that holds the text and whose writer has closed it.
Descriptor pipeWith(const QByteArray& text) {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    EXPECT_EQ(::write(ends[1], text.constData(), static_cast<std::size_t>(text.size())), text.size());
    ::close(ends[1]);
    return Descriptor(ends[0]);
}

TEST(OpenRequest, EverythingArrivesAsItWasAsked) {
    const Descriptor pipe = pipeWith("typed\n");
    OpenRequest request = OpenRequest::forThisProcess({
        {"/a b/c\nd\xFF\xC3(", 7},
        {"ssh://me@host:22//var/log/x y", std::numeric_limits<qint64>::max(), false, true},
        {"/dev/fd/63"},
        {"/last"},
    });
    request.files[2].input = Descriptor(::fcntl(pipe.number(), F_DUPFD_CLOEXEC, 0));
    request.activationToken = "token-1";
    request.startupId = "host_TIME5";

    const auto received = sent(request);
    ASSERT_TRUE(received);
    EXPECT_EQ(received->activationToken, "token-1");
    EXPECT_EQ(received->startupId, "host_TIME5");
    ASSERT_EQ(received->files.size(), request.files.size());
    for (std::size_t i = 0; i < request.files.size(); ++i) {
        EXPECT_EQ(received->files[i].place, request.files[i].place) << i;
        EXPECT_EQ(received->files[i].input.isOpen(), i == 2) << i;
    }
    EXPECT_EQ(readable(received->files[2].input.number()), "typed\n");
    EXPECT_TRUE(sent(OpenRequest())) << "a start without files is a request, too";
}

TEST(OpenRequest, NamesAreTakenFromTheStartersDirectory) {
    const TemporaryFile file("x\n", "a\n\xFE.log");
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(QFile::decodeName(file.directory())));
    const OpenRequest request = OpenRequest::forAnotherProcess(
        {{"a\n\xFE.log", 3}, {"./x/../a"}, {"/etc/passwd"}, {"ssh://h/a", {}, false, true}});
    QDir::setCurrent(before);
    EXPECT_EQ(request.files[0].place, (CommandLine::File{file.path(), 3}));
    EXPECT_EQ(request.files[1].place.path, file.directory() + "/a");
    EXPECT_EQ(request.files[2].place.path, "/etc/passwd");
    EXPECT_EQ(request.files[3].place.path, "ssh://h/a");
    for (const auto& one : request.files)
        EXPECT_FALSE(one.input.isOpen()) << "files are opened by whoever shows them";
}

TEST(OpenRequest, WhatOnlyTheStarterCanReadTravelsOpen) {
    const Descriptor pipe = pipeWith("from a pipe");
    const TemporaryFile file("from a file");
    const Descriptor open(::open(file.path().constData(), O_RDONLY | O_CLOEXEC));
    const QByteArray fifo = file.path() + ".fifo";
    ASSERT_EQ(::mkfifo(fifo.constData(), 0600), 0);
    const auto named = [](const char* directory, const Descriptor& descriptor) {
        return QByteArray(directory) + QByteArray::number(descriptor.number());
    };
    const OpenRequest request = OpenRequest::forAnotherProcess({{{}, 4, true},
                                                                {named("/dev/fd/", pipe)},
                                                                {named("/proc/self/fd/", open)},
                                                                {fifo},
                                                                {"/dev/fd/9999"}});
    EXPECT_TRUE(request.files[0].input.isOpen());
    EXPECT_EQ(readable(request.files[1].input.number()), "from a pipe");
    EXPECT_EQ(request.files[1].place.path, named("/dev/fd/", pipe)) << "what names the tab";
    EXPECT_EQ(readable(request.files[2].input.number()), "from a file");
    // The writer opens the pipe later.
    const Descriptor writer(::open(fifo.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    ::unlink(fifo.constData());
    ASSERT_TRUE(writer.isOpen()) << "somebody reads";
    ASSERT_EQ(::write(writer.number(), "late", 4), 4);
    EXPECT_EQ(readable(request.files[3].input.number()), "late");
    EXPECT_EQ(request.files[4].place.path, "/proc/" + QByteArray::number(::getpid()) + "/fd/9999")
        << "never a descriptor of the other process";
    EXPECT_TRUE(sent(request));
}

/// A message with the given body.
QByteArray framed(const QByteArray& body) {
    QByteArray bytes = OpenRequest().message().bytes.first(OpenRequest::messageHeaderSize - 4);
    QDataStream(&bytes, QIODevice::Append) << static_cast<quint32>(body.size());
    return bytes + body;
}

struct Entry {
    QByteArray path;
    qint64 line = 0;
    int flags = 0;
};

QByteArray withFiles(const std::vector<Entry>& entries, quint32 count, const QByteArray& token = {}) {
    QByteArray body;
    QDataStream out(&body, QIODevice::WriteOnly);
    out << token << QByteArray() << count;
    for (const Entry& entry : entries)
        out << static_cast<quint8>(entry.flags) << entry.path << entry.line;
    return framed(body);
}

TEST(OpenRequest, WhatIsNotSoundIsRefused) {
    ASSERT_TRUE(OpenRequest::fromMessage(withFiles({{"/a", 1}}, 1), {})) << "the form is known";
    const QByteArray good = withFiles({{"/a b", 12}, {"ssh://h/a", 0, 2}}, 2, "token");
    ASSERT_TRUE(OpenRequest::fromMessage(good, {}));
    for (qsizetype size = 0; size < good.size(); ++size) {
        EXPECT_FALSE(OpenRequest::fromMessage(good.first(size), {})) << size;
    }
    const QByteArray body = good.mid(OpenRequest::messageHeaderSize);
    for (qsizetype size = 0; size < body.size(); ++size) { // cut short, with a matching size in the header
        EXPECT_FALSE(OpenRequest::fromMessage(framed(body.first(size)), {})) << size;
    }
    QByteArray otherVersion = good;
    otherVersion[7] = 99;
    for (const auto& [fault, bytes, descriptors] : Rows<const char*, QByteArray, std::size_t>{
             {"more than it says", good + 'x', 0},
             {"more after the last file", framed(body + 'x'), 0},
             {"another version", otherVersion, 0},
             {"something else", "GET / HTTP/1.0\r\n\r\n", 0},
             {"fewer files than it says", withFiles({{"/a"}}, 0xFFFFFFFF), 0},
             {"a relative path", withFiles({{"a"}}, 1), 0},
             {"no path", withFiles({{""}}, 1), 0},
             {"a path with a byte 0", withFiles({{QByteArray("/a\0b", 4)}}, 1), 0},
             {"a line before the first", withFiles({{"/a", -1}}, 1), 0},
             {"standard input without a descriptor", withFiles({{"", 0, 1}}, 1), 0},
             {"a path for standard input", withFiles({{"/a", 0, 1 | 4}}, 1), 1},
             {"an address with a descriptor", withFiles({{"ssh://h/a", 0, 2 | 4}}, 1), 1},
             {"fewer descriptors than it says", withFiles({{"/a", 0, 4}, {"/b", 0, 4}}, 2), 1},
             {"more descriptors than it says", withFiles({{"/a", 0, 4}}, 1), 2},
             {"a token without an end", withFiles({}, 0, QByteArray(5000, 'x')), 0},
             {"a token with a byte 0", withFiles({}, 0, QByteArray("a\0b", 3)), 0}}) {
        const Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        const std::vector<int> given(descriptors, null.number());
        EXPECT_FALSE(OpenRequest::fromMessage(bytes, duplicates(given))) << fault;
    }
    QByteArray large = good;
    large[OpenRequest::messageHeaderSize - 4] = 1; // 16 MiB and more
    EXPECT_FALSE(OpenRequest::messageSize(large)) << "nobody waits for that much";
    EXPECT_EQ(OpenRequest::messageSize(good), good.size());
}

} // namespace
} // namespace korvane::test
