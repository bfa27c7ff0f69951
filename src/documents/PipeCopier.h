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

/// Makes an ordinary file of what comes in by a pipe (standard input, a named pipe, a process substitution, a
/// terminal), so that it can be shown and searched like any other while it still grows.
///
/// Main thread; the copying goes on in the background. The file has no name in the file system: it goes with
/// the object, and with the program however that ends.
class PipeCopier {
    Q_DECLARE_TR_FUNCTIONS(korvane::PipeCopier)

public:
    enum class State {
        Copying,
        Paused, ///< too little room is left where the copy lies
        Ended,
        Failed,
    };

    /// Whether what a path leads to can only be read once, from its start, so that it has to be copied.
    static bool mustCopy(const QByteArray& path);

    /// The number of a descriptor of this very process that a path names, or -1. Such a path cannot always be
    /// opened (a socket's never), and opening it forgets that a writer has been there; the descriptor itself
    /// knows.
    static int descriptorNamed(const QByteArray& path);

    /// Whether a path leads to a file that the kernel makes up as it is read: it has no size, and shows
    /// something else at every read.
    static bool isMadeUp(const QByteArray& path);

    /// Starts to copy what can be read from `descriptor`, which stays the caller's and may be closed at once.
    /// `directory`: where to put the copy; empty = the system's temporary directory. Fails when it cannot be
    /// made.
    static Result<std::shared_ptr<PipeCopier>> start(int descriptor, const QByteArray& directory = {});
    /// The same for a path. It is opened in the background: a named pipe's writer may come at any time later.
    static Result<std::shared_ptr<PipeCopier>> start(const QByteArray& path,
                                                     const QByteArray& directory = {});
    /// The same for a descriptor that the program has inherited, which is given up: when the copying ends,
    /// the writer learns that nobody reads.
    static Result<std::shared_ptr<PipeCopier>> takeOver(int inherited, const QByteArray& directory = {});

    ~PipeCopier();
    PipeCopier(const PipeCopier&) = delete;
    PipeCopier& operator=(const PipeCopier&) = delete;

    /// Leads to the copy from within this process, for as long as this object lives.
    QUrl fileUrl() const;
    State state() const;
    /// Why it failed and what can be done about it. Empty in the other states.
    QString failure() const;
    /// How much is in the file. What was copied before a failure stays.
    std::uint64_t bytesCopied() const;

    /// Called on the main thread when bytes have come in, at most ten times a second, and once more at the
    /// end.
    void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }

    /// Why it pauses; empty in the other states.
    QString pauseReason() const;
    /// Goes on although little room is left, until there is none.
    void goOn();
    /// Ends the copying where it is, without waiting for it; it counts as ended.
    void stop();
    /// Whether the input can be read from its start another time.
    bool canCopyAgain() const;
    /// Copies the input again from its start, once the copying before has ended. Precondition:
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
    /// Owned by the queue: the pipe is closed as soon as the copying ends.
    std::weak_ptr<Copy> operation_;
    std::function<void()> onChange_;
};

} // namespace korvane
