#pragma once

#include "foundation/Descriptor.h"
#include "foundation/Result.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QUrl>

#include <cstdint>
#include <functional>
#include <memory>

namespace korvane {

class OperationQueue;

/// Copies a pipe (standard input, a named pipe, a process substitution, a terminal) to an ordinary file, so
/// that it can be shown and searched like any other while it still grows.
///
/// Main thread; the copying runs in the background. The file has no name in the file system: it is deleted
/// with the object, and when the process ends in any way.
class PipeCopier {
    Q_DECLARE_TR_FUNCTIONS(korvane::PipeCopier)

public:
    enum class State {
        Copying,
        Paused, ///< too little space is left for the copy
        Ended,
        Failed,
    };

    /// Whether the path leads to something that can be read only once, from its start, so that it must be
    /// copied.
    static bool mustCopy(const QByteArray& path);

    /// The number of the descriptor of this process that a path names, or -1. Such a path cannot always be
    /// opened (a socket's never), and opening it loses the information that there has been a writer; the
    /// descriptor keeps it.
    static int descriptorNamed(const QByteArray& path);

    /// Whether the path leads to a file that the kernel generates as it is read: it has no size, and its
    /// content differs between reads.
    static bool isMadeUp(const QByteArray& path);

    /// Starts to copy from `descriptor`, which stays owned by the caller and may be closed at once.
    /// `directory`: where to put the copy; empty = the system's temporary directory. Fails when the copy
    /// cannot be created.
    static Result<std::shared_ptr<PipeCopier>> start(int descriptor, const QByteArray& directory = {});
    /// The same for a path. It is opened in the background: a named pipe's writer may open it at any later
    /// time.
    static Result<std::shared_ptr<PipeCopier>> start(const QByteArray& path,
                                                     const QByteArray& directory = {});
    /// The same for an inherited descriptor, which is redirected to /dev/null, so that the writer gets EPIPE
    /// when the copying ends.
    static Result<std::shared_ptr<PipeCopier>> takeOver(int inherited, const QByteArray& directory = {});

    ~PipeCopier();
    PipeCopier(const PipeCopier&) = delete;
    PipeCopier& operator=(const PipeCopier&) = delete;

    /// Address of the copy, valid inside this process while this object lives.
    QUrl fileUrl() const;
    State state() const;
    /// Why it failed and the remedy. Empty in the other states.
    QString failure() const;
    /// Size of the copy in bytes. Bytes copied before a failure stay.
    std::uint64_t bytesCopied() const;

    /// Called on the main thread when bytes have been copied, at most ten times a second, and once more at
    /// the end.
    void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }

    /// Why it pauses; empty in the other states.
    QString pauseReason() const;
    /// Resumes although little space is left, until there is none.
    void goOn();
    /// Stops the copying without waiting; the state becomes `Ended`.
    void stop();
    /// Whether the input can be read from its start another time.
    bool canCopyAgain() const;
    /// Copies the input again from its start, once the previous copying has ended. Precondition:
    /// `canCopyAgain`.
    void copyAgain();

private:
    struct Progress;
    class Copy;

    PipeCopier(Descriptor copy, QByteArray sourcePath, QByteArray directory);
    static Result<std::shared_ptr<PipeCopier>> start(int ownedDescriptor, const QByteArray& path,
                                                     QByteArray directory);
    /// False when the system has no descriptors left, with the reason in errno.
    bool beginCopying(Descriptor source);

    const std::shared_ptr<Progress> progress_;
    const Descriptor copy_;
    const QByteArray sourcePath_;
    const QByteArray directory_;
    const std::unique_ptr<OperationQueue> queue_;
    /// Owned by the queue, so that the pipe is closed as soon as the copying ends.
    std::weak_ptr<Copy> operation_;
    std::function<void()> onChange_;
};

} // namespace korvane
