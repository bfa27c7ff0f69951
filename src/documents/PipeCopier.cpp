#include "documents/PipeCopier.h"

#include "core/Preferences.h"
#include "foundation/FilePath.h"
#include "foundation/Mutex.h"
#include "foundation/work/MainThread.h"
#include "foundation/work/OperationQueue.h"

#include <QDir>
#include <QFile>
#include <QLocale>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace korvane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds changeInterval{100};
constexpr std::size_t bufferSize = 262'144;

QString systemText(int code) {
    return QString::fromLocal8Bit(std::strerror(code));
}

/// Intervals of the check for free space: in bytes while copying, in time while paused.
constexpr std::uint64_t bytesBetweenLooks = 16 << 20;
constexpr std::chrono::milliseconds timeBetweenLooks{2000};
/// The divisor of a file system's size that stays free (one twentieth).
constexpr std::uint64_t sharesOfDisk = 20;

/// The free bytes if fewer are free than must stay so, else nullopt.
std::optional<std::uint64_t> littleSpaceLeft(int file) {
    struct statvfs status {};
    if (Preferences::shared().pipeReserve() == 0 || ::fstatvfs(file, &status) != 0)
        return std::nullopt;
    const std::uint64_t left = std::uint64_t{status.f_bavail} * status.f_frsize;
    const std::uint64_t reserve =
        std::max(std::uint64_t{status.f_blocks} * status.f_frsize / sharesOfDisk,
                 static_cast<std::uint64_t>(Preferences::shared().pipeReserve()) << 20);
    return left < reserve ? std::optional(left) : std::nullopt;
}

} // namespace

/// State that the worker reports to the owner.
struct PipeCopier::Progress {
    std::atomic<State> state{State::Copying};
    std::atomic<std::uint64_t> bytesCopied{0};
    /// Whether a notice is queued for the main thread.
    std::atomic<bool> noticePending{false};
    /// The user wants to continue although little space is left.
    std::atomic<bool> ignoresSpace{false};
    std::atomic<std::uint64_t> bytesLeft{0};
    /// For notices. Main thread only.
    std::weak_ptr<PipeCopier> owner;

    Mutex mutex;
    QString failure GUARDED_BY(mutex);

    static void notify(const std::shared_ptr<Progress>& progress) {
        if (progress->noticePending.exchange(true))
            return;
        MainThread::shared().post([progress] {
            // First, so that every later change sends another notice.
            progress->noticePending.store(false);
            if (const auto copier = progress->owner.lock(); copier && copier->onChange_)
                copier->onChange_();
        });
    }

    void restart() {
        {
            const MutexLock guard(mutex);
            failure.clear();
        }
        bytesCopied = 0;
        state = State::Copying;
    }

    void fail(const QString& text) {
        {
            const MutexLock guard(mutex);
            failure = text;
        }
        state.store(State::Failed);
    }
};

/// Copies until the pipe's end. The pipe is closed with the object, so that its writer notices that there is
/// no reader.
class PipeCopier::Copy : public Operation {
public:
    using State = PipeCopier::State;

    Copy(std::shared_ptr<Progress> progress, Descriptor source, QByteArray sourcePath, Descriptor target,
         QString targetDirectory, Descriptor wake)
        : progress_(std::move(progress)), source_(std::move(source)), sourcePath_(std::move(sourcePath)),
          target_(std::move(target)), targetDirectory_(std::move(targetDirectory)), wake_(std::move(wake)) {
        // Also when it is cancelled before it begins.
        setCompletion([shared = progress_] {
            if (shared->state != State::Failed)
                shared->state = State::Ended;
            Progress::notify(shared);
        });
    }

    void cancel() override {
        Operation::cancel();
        wake();
    }
    /// Makes the worker check at once for a cancel or a resume.
    void wake() const {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(wake_.number(), &one, sizeof one);
    }

protected:
    void main() override {
        if (openSource())
            copy();
    }

private:
    bool openSource() {
        if (source_.isOpen())
            return true;
        // Non-blocking: there may be no writer yet. `poll` reports when one has opened or closed the pipe.
        source_ = Descriptor(::open(sourcePath_.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (!source_.isOpen())
            failReading(errno);
        return source_.isOpen();
    }

    void copy() {
        std::vector<char> buffer(bufferSize);
        while (waitForSpace() && waitForBytes()) {
            const ssize_t got = readSome(buffer);
            if (got < 0 && (errno == EINTR || errno == EAGAIN))
                continue;
            if (got < 0)
                return failReading(errno);
            if (got == 0 || !writeAll(buffer.data(), static_cast<std::size_t>(got)))
                return;
            changed_ = true;
        }
    }

    /// Waits until there is enough space, or the user wants to continue without; false when cancelled.
    bool waitForSpace() {
        if (progress_->bytesCopied < nextLook_ || progress_->ignoresSpace)
            return true;
        while (!isCancelled()) {
            const auto left = littleSpaceLeft(target_.number());
            const bool pauses = left && !progress_->ignoresSpace;
            progress_->bytesLeft = left.value_or(0);
            if (progress_->state.exchange(pauses ? State::Paused : State::Copying) !=
                (pauses ? State::Paused : State::Copying))
                Progress::notify(progress_);
            if (!pauses) {
                nextLook_ = progress_->bytesCopied + bytesBetweenLooks;
                return true;
            }
            pollfd polled{wake_.number(), POLLIN, 0};
            ::poll(&polled, 1, static_cast<int>(timeBetweenLooks.count()));
            forgetWakes();
        }
        return false;
    }

    void forgetWakes() const {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto taken = ::read(wake_.number(), &count, sizeof count);
    }

    /// Waits until bytes can be read, and reports the progress meanwhile; false when cancelled.
    bool waitForBytes() {
        for (;;) {
            const auto sinceNotice = Clock::now() - lastNotice_;
            if (changed_ && sinceNotice >= changeInterval) {
                changed_ = false;
                lastNotice_ = Clock::now();
                Progress::notify(progress_);
            }
            const auto rest = std::chrono::ceil<std::chrono::milliseconds>(changeInterval - sinceNotice);
            std::array<pollfd, 2> polled{{{source_.number(), POLLIN, 0}, {wake_.number(), POLLIN, 0}}};
            const int ready =
                ::poll(polled.data(), polled.size(), changed_ ? static_cast<int>(rest.count()) : -1);
            if (isCancelled())
                return false;
            forgetWakes();
            if (ready > 0 && polled[0].revents != 0)
                return true;
        }
    }

    ssize_t readSome(std::vector<char>& buffer) {
        // O_NONBLOCK is not set: the mode is shared with other programs. A socket that others also read is
        // read with MSG_DONTWAIT, so that it cannot block.
        const ssize_t got = ::recv(source_.number(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        return got < 0 && errno == ENOTSOCK ? ::read(source_.number(), buffer.data(), buffer.size()) : got;
    }

    bool writeAll(const char* bytes, std::size_t count) {
        while (count > 0) {
            const ssize_t written = ::write(target_.number(), bytes, count);
            if (written < 0 && errno == EINTR)
                continue;
            if (written < 0) {
                failWriting(errno);
                return false;
            }
            bytes += written;
            count -= static_cast<std::size_t>(written);
            progress_->bytesCopied += static_cast<std::uint64_t>(written);
        }
        return true;
    }

    void failReading(int code) {
        progress_->fail(tr("The input cannot be read: %1. What came before is shown.").arg(systemText(code)));
    }

    void failWriting(int code) {
        progress_->fail(
            tr("The input cannot be kept in “%1”: %2. What came before is shown. Make room there, "
               "or name a larger place in the environment variable TMPDIR, and start again.")
                .arg(targetDirectory_, systemText(code)));
    }

    const std::shared_ptr<Progress> progress_;
    Descriptor source_;
    const QByteArray sourcePath_;
    const Descriptor target_;
    const QString targetDirectory_;
    /// An eventfd, readable once something has changed.
    const Descriptor wake_;
    std::uint64_t nextLook_ = 0;
    bool changed_ = false;
    Clock::time_point lastNotice_;
};

int PipeCopier::descriptorNamed(const QByteArray& path) {
    if (path == "/dev/stdin")
        return STDIN_FILENO;
    for (const char* prefix : {"/dev/fd/", "/proc/self/fd/"}) {
        bool isNumber = false;
        const int number = path.startsWith(prefix) ? path.mid(qstrlen(prefix)).toInt(&isNumber) : -1;
        if (isNumber)
            return number;
    }
    return -1;
}

bool PipeCopier::mustCopy(const QByteArray& path) {
    struct stat status {};
    if (::stat(path.constData(), &status) != 0)
        return false;
    if (S_ISFIFO(status.st_mode) || isMadeUp(path))
        return true;
    const int inherited = descriptorNamed(path);
    if (S_ISSOCK(status.st_mode))
        return inherited >= 0; // a named socket cannot be read as a stream of bytes
    if (!S_ISCHR(status.st_mode))
        return false;
    if (inherited >= 0)
        return ::isatty(inherited) != 0;
    const Descriptor device(::open(path.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    return device.isOpen() && ::isatty(device.number()) != 0;
}

bool PipeCopier::isMadeUp(const QByteArray& path) {
    struct stat status {};
    struct statfs place {};
    if (::stat(path.constData(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size != 0 ||
        ::statfs(path.constData(), &place) != 0)
        return false;
    constexpr std::array kinds{PROC_SUPER_MAGIC,   SYSFS_MAGIC,         DEBUGFS_MAGIC,   TRACEFS_MAGIC,
                               CGROUP_SUPER_MAGIC, CGROUP2_SUPER_MAGIC, SECURITYFS_MAGIC};
    return std::ranges::find(kinds, static_cast<int>(place.f_type)) != kinds.end();
}

Result<std::shared_ptr<PipeCopier>> PipeCopier::start(int descriptor, const QByteArray& directory) {
    const int own = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (own < 0)
        return Error{errno, QStringLiteral("POSIX"),
                     tr("The input cannot be read: %1").arg(systemText(errno))};
    return start(own, {}, directory);
}

Result<std::shared_ptr<PipeCopier>> PipeCopier::takeOver(int inherited, const QByteArray& directory) {
    auto copier = start(inherited, directory);
    if (const Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC)); copier && null.isOpen())
        ::dup2(null.number(), inherited);
    return copier;
}

Result<std::shared_ptr<PipeCopier>> PipeCopier::start(const QByteArray& path, const QByteArray& directory) {
    if (const int inherited = descriptorNamed(path); inherited >= 0)
        return takeOver(inherited, directory);
    return start(-1, path, directory);
}

Result<std::shared_ptr<PipeCopier>> PipeCopier::start(int ownedDescriptor, const QByteArray& path,
                                                      QByteArray directory) {
    Descriptor source(ownedDescriptor);
    if (directory.isEmpty())
        directory = QFile::encodeName(QDir::tempPath());
    QByteArray place = directory + "/korvane-XXXXXX";
    const auto noCopy = [&](int code) {
        return Error{code, QStringLiteral("POSIX"),
                     tr("No file can be made in “%1” to keep the input: %2. Name another place in the "
                        "environment variable TMPDIR, and start again.")
                         .arg(QString::fromUtf8(directory), systemText(code))};
    };
    Descriptor copy(::mkostemp(place.data(), O_CLOEXEC)); // readable for its owner only
    if (!copy.isOpen())
        return noCopy(errno);
    ::unlink(place.constData());
    std::shared_ptr<PipeCopier> copier(new PipeCopier(std::move(copy), path, directory));
    copier->progress_->owner = copier;
    if (!copier->beginCopying(std::move(source)))
        return noCopy(errno);
    return copier;
}

PipeCopier::PipeCopier(Descriptor copy, QByteArray sourcePath, QByteArray directory)
    : progress_(std::make_shared<Progress>()), copy_(std::move(copy)), sourcePath_(std::move(sourcePath)),
      directory_(std::move(directory)), queue_(std::make_unique<OperationQueue>("Pipe copy queue", 1)) {}

bool PipeCopier::beginCopying(Descriptor source) {
    Descriptor target(::fcntl(copy_.number(), F_DUPFD_CLOEXEC, 0));
    Descriptor wake(target.isOpen() ? ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) : -1);
    if (!wake.isOpen())
        return false;
    const auto operation =
        std::make_shared<Copy>(progress_, std::move(source), sourcePath_, std::move(target),
                               QString::fromUtf8(directory_), std::move(wake));
    operation_ = operation;
    queue_->addOperation(operation);
    return true;
}

PipeCopier::~PipeCopier() {
    stop();
}

QUrl PipeCopier::fileUrl() const {
    return fileUrlFromPath("/proc/self/fd/" + QByteArray::number(copy_.number()));
}

QString PipeCopier::pauseReason() const {
    if (progress_->state != State::Paused)
        return {};
    return tr("Reading pauses: only %1 are left where the input is kept")
        .arg(QLocale().formattedDataSize(static_cast<qint64>(progress_->bytesLeft.load())));
}

void PipeCopier::goOn() {
    progress_->ignoresSpace = true;
    if (const auto operation = operation_.lock())
        operation->wake();
}

PipeCopier::State PipeCopier::state() const {
    return progress_->state;
}

QString PipeCopier::failure() const {
    const MutexLock guard(progress_->mutex);
    return progress_->failure;
}

std::uint64_t PipeCopier::bytesCopied() const {
    return progress_->bytesCopied;
}

void PipeCopier::stop() {
    queue_->cancelAllOperations();
}

bool PipeCopier::canCopyAgain() const {
    return isMadeUp(sourcePath_);
}

void PipeCopier::copyAgain() {
    if (!queue_->isEmpty() || ::ftruncate(copy_.number(), 0) != 0 ||
        ::lseek(copy_.number(), 0, SEEK_SET) != 0)
        return;
    progress_->restart();
    if (!beginCopying(Descriptor()))
        progress_->fail(
            tr("The input cannot be read: %1. What came before is shown.").arg(systemText(errno)));
}

} // namespace korvane
