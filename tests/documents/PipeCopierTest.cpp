#include "documents/PipeCopier.h"

#include "foundation/FilePath.h"
#include "support/PreferencesTest.h"
#include "support/Waiting.h"

#include <QDir>
#include <QFile>

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace korvane {
namespace {

using CopyState = PipeCopier::State;

class PipeCopierTest : public test::PreferencesTest {
protected:
    void SetUp() override {
        Preferences::shared().setPipeReserve(0); // regardless of the free disk space
        ASSERT_EQ(::pipe2(ends_, O_CLOEXEC), 0);
    }
    void TearDown() override {
        closeReader();
        closeWriter();
    }

    void closeReader() { ::close(std::exchange(ends_[0], -1)); }
    void closeWriter() { ::close(std::exchange(ends_[1], -1)); }
    bool write(const QByteArray& bytes) const { return writeTo(ends_[1], bytes); }
    static bool writeTo(int descriptor, const QByteArray& bytes) {
        return ::write(descriptor, bytes.constData(), static_cast<std::size_t>(bytes.size())) == bytes.size();
    }
    bool waitForBrokenPipe() const {
        return test::waitFor([&] { return !write("unread") && errno == EPIPE; });
    }

    using Copier = std::shared_ptr<PipeCopier>;
    Copier startOnPipe() { return PipeCopier::start(ends_[0], directoryPath()).value(); }
    Copier startOn(const QByteArray& path) { return PipeCopier::start(path, directoryPath()).value(); }

    QByteArray makeFifo() const {
        const QByteArray path = directoryPath() + "/named pipe \xFF";
        EXPECT_EQ(::mkfifo(path.constData(), 0600), 0);
        return path;
    }

    /// Whether this process has the file open.
    static bool isOpenHere(const QByteArray& path) {
        std::error_code gone; // descriptors may be closed meanwhile
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
            if (std::filesystem::read_symlink(entry, gone) == path.constData())
                return true;
        return false;
    }

    static QByteArray contentOf(const Copier& copier) {
        QFile file(QFile::decodeName(localPath(copier->fileUrl())));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    static bool waitForState(const Copier& copier, CopyState state) {
        return test::waitFor([&] { return copier->state() == state; });
    }
    static bool waitForBytes(const Copier& copier, std::uint64_t count) {
        return test::waitFor([&] { return copier->bytesCopied() == count; });
    }
    static void expectEndWith(const Copier& copier, const QByteArray& content) {
        EXPECT_TRUE(waitForState(copier, CopyState::Ended));
        EXPECT_TRUE(contentOf(copier) == content) << contentOf(copier).left(100).constData();
        EXPECT_EQ(copier->failure(), QString());
    }

    QByteArray directoryPath() const { return QFile::encodeName(directory_.path()); }
    qsizetype entriesLeft() const {
        return QDir(directory_.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size();
    }

    QTemporaryDir directory_;
    int ends_[2] = {-1, -1};
};

TEST_F(PipeCopierTest, BytesCanBeReadWhileTheWriterIsStillThereAndArriveUnchangedAndInOrder) {
    const Copier copier = startOnPipe();
    closeReader(); // the copier has its own descriptor
    ASSERT_TRUE(write("first\n"));
    ASSERT_TRUE(waitForBytes(copier, 6));
    EXPECT_EQ(contentOf(copier), "first\n");
    EXPECT_EQ(copier->state(), CopyState::Copying);
    QByteArray sent(3'000'001, Qt::Uninitialized);
    std::mt19937 random(3);
    for (char& byte : sent)
        byte = static_cast<char>(random());
    std::thread writer([&] {
        for (qsizetype at = 0; at < sent.size(); at += 70'001)
            EXPECT_TRUE(write(sent.mid(at, 70'001)));
        closeWriter();
    });
    EXPECT_TRUE(waitForState(copier, CopyState::Ended));
    writer.join();
    expectEndWith(copier, "first\n" + sent);
}

TEST_F(PipeCopierTest, ANamedPipeWaitsForItsWriterAndEndsWithIt) {
    const QByteArray path = makeFifo();
    const Copier copier = startOn(path);
    // Succeeds once the copier has opened the other end.
    int writer = -1;
    ASSERT_TRUE(test::waitFor(
        [&] { return (writer = ::open(path.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0; }));
    EXPECT_EQ(copier->state(), CopyState::Copying);
    EXPECT_TRUE(writeTo(writer, "late"));
    ::close(writer);
    expectEndWith(copier, "late");
}

TEST_F(PipeCopierTest, StoppingEndsTheWaitForAWriter) {
    const QByteArray path = makeFifo();
    const Copier copier = startOn(path);
    ASSERT_TRUE(test::waitFor([&] { return isOpenHere(path); }));
    EXPECT_EQ(copier->state(), CopyState::Copying);
    copier->stop();
    EXPECT_TRUE(waitForState(copier, CopyState::Ended));
}

TEST_F(PipeCopierTest, AStoppedCopyKeepsItsBytesAndReleasesThePipe) {
    const Copier copier = startOnPipe();
    closeReader();
    ASSERT_TRUE(write("kept"));
    ASSERT_TRUE(waitForBytes(copier, 4));
    copier->stop();
    expectEndWith(copier, "kept");
    EXPECT_TRUE(waitForBrokenPipe());
}

// A named pipe as standard input whose writer has already closed it: opened again, it would look as if it
// never had a writer.
TEST_F(PipeCopierTest, AnInheritedPipeWhoseWriterHasClosedItEnds) {
    const QByteArray path = makeFifo();
    const int reader = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const int writer = ::open(path.constData(), O_WRONLY | O_CLOEXEC);
    ASSERT_TRUE(writeTo(writer, "gone"));
    ::close(writer);
    expectEndWith(startOn("/dev/fd/" + QByteArray::number(reader)), "gone");
    ::close(reader);
}

TEST_F(PipeCopierTest, ASocketIsReadToItsEnd) {
    int sockets[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
    const QByteArray path = "/proc/self/fd/" + QByteArray::number(sockets[0]);
    EXPECT_TRUE(PipeCopier::mustCopy(path));
    const Copier copier = startOn(path);
    ::close(sockets[0]);
    ASSERT_TRUE(writeTo(sockets[1], "spoken"));
    ASSERT_TRUE(waitForBytes(copier, 6));
    ::close(sockets[1]);
    expectEndWith(copier, "spoken");
}

TEST_F(PipeCopierTest, TheCopyHasNoNameAndIsReleasedWithTheInheritedPipe) {
    Copier copier = PipeCopier::takeOver(ends_[0], directoryPath()).value();
    EXPECT_EQ(entriesLeft(), 0) << "could stay behind";
    struct stat status {};
    ASSERT_EQ(::stat(localPath(copier->fileUrl()).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    ASSERT_TRUE(write("read"));
    ASSERT_TRUE(waitForBytes(copier, 4));
    copier.reset();
    EXPECT_TRUE(waitForBrokenPipe());
}

TEST_F(PipeCopierTest, LittleRoomPausesTheCopyUntilTheUserDecides) {
    Preferences::shared().setPipeReserve(Preferences::mostPipeReserve);
    const Copier copier = startOnPipe();
    ASSERT_TRUE(write("held back"));
    ASSERT_TRUE(waitForState(copier, CopyState::Paused));
    EXPECT_FALSE(copier->pauseReason().isEmpty());
    EXPECT_EQ(copier->bytesCopied(), 0U);
    copier->goOn();
    EXPECT_TRUE(waitForBytes(copier, 9));
    EXPECT_EQ(copier->pauseReason(), QString());

    const Copier ended = startOnPipe();
    ASSERT_TRUE(waitForState(ended, CopyState::Paused));
    ended->stop();
    EXPECT_TRUE(waitForState(ended, CopyState::Ended));
}

TEST_F(PipeCopierTest, NoticesComeOnTheMainThreadAndNotForEveryByte) {
    const Copier copier = startOnPipe();
    const auto begin = std::chrono::steady_clock::now();
    int notices = 0;
    std::uint64_t lastSeen = 0;
    CopyState lastState = CopyState::Copying;
    copier->setOnChange([&, thread = std::this_thread::get_id()] {
        EXPECT_EQ(std::this_thread::get_id(), thread);
        ++notices;
        lastSeen = copier->bytesCopied();
        lastState = copier->state();
    });
    for (std::uint64_t sent = 1; sent <= 300; ++sent) {
        ASSERT_TRUE(write("x"));
        ASSERT_TRUE(waitForBytes(copier, sent));
    }
    // The last bytes are reported although no more follow.
    ASSERT_TRUE(test::waitFor([&] { return lastSeen == 300; }));
    EXPECT_EQ(lastState, CopyState::Copying);
    closeWriter();
    ASSERT_TRUE(test::waitFor([&] { return lastState == CopyState::Ended; }));
    const auto elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_LE(notices, 2 + elapsed / std::chrono::milliseconds(100));
}

TEST_F(PipeCopierTest, AFullDiskKeepsWhatWasCopiedAndSaysWhatToDo) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    // The closest to a full disk without special rights: a maximum file size in bytes.
    const rlimit full{1000, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
    const Copier copier = startOnPipe();
    EXPECT_TRUE(write(QByteArray(999, 'a') + "bcd"));
    EXPECT_TRUE(waitForState(copier, CopyState::Failed));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(contentOf(copier), QByteArray(999, 'a') + "b");
    EXPECT_EQ(copier->bytesCopied(), 1000U);
    EXPECT_TRUE(copier->failure().contains(directory_.path()));
    EXPECT_TRUE(copier->failure().contains(QStringLiteral("TMPDIR")));
}

TEST_F(PipeCopierTest, WhatCannotBeOpenedOrKeptIsReported) {
    const auto missing = startOn(directoryPath() + "/no such pipe");
    EXPECT_TRUE(waitForState(missing, CopyState::Failed));
    EXPECT_FALSE(missing->failure().isEmpty());

    const auto nowhere = PipeCopier::start(ends_[0], directoryPath() + "/missing");
    ASSERT_FALSE(nowhere);
    EXPECT_EQ(nowhere.error().code, ENOENT);
    EXPECT_TRUE(nowhere.error().userText.contains(directory_.path() + QStringLiteral("/missing")));

    const auto closed = PipeCopier::start(9999, directoryPath());
    ASSERT_FALSE(closed);
    EXPECT_EQ(closed.error().code, EBADF);
    EXPECT_EQ(entriesLeft(), 0);
}

TEST_F(PipeCopierTest, WhatTheKernelMakesUpIsCopiedAgain) {
    const auto setName = [](const char* name) { ASSERT_EQ(::prctl(PR_SET_NAME, name), 0); };
    const auto path = "/proc/self/task/" + QByteArray::number(::gettid()) + "/comm";
    setName("a longer name");
    const auto copier = startOn(path);
    ASSERT_TRUE(copier->canCopyAgain());
    expectEndWith(copier, "a longer name\n");
    setName("short");
    // The first copy releases its turn shortly after its end.
    EXPECT_TRUE(test::waitFor([&] {
        const QByteArray content = contentOf(copier);
        if (content == "a longer name\n")
            copier->copyAgain();
        return copier->state() == CopyState::Ended && content == "short\n";
    }));
    EXPECT_FALSE(startOnPipe()->canCopyAgain());
}

TEST_F(PipeCopierTest, OnlyWhatCanBeReadJustOnceIsCopied) {
    const QByteArray regular = directoryPath() + "/regular";
    ::close(::open(regular.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    const std::pair<QByteArray, bool> cases[] = {
        {makeFifo(), true},
        {"/dev/fd/" + QByteArray::number(ends_[0]), true},
        {regular, false},
        {directoryPath(), false},
        {directoryPath() + "/missing", false},
        {"/dev/null", false},
        {"/proc/self/status", true},
        {"/dev/zero", false}, // has no end: copying it would fill the disk
    };
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(PipeCopier::mustCopy(path), expected) << path.constData();
}

} // namespace
} // namespace korvane
