#include "remote/RemoteFile.h"

#include "remote/RemoteCommands.h"
#include "remote/RemoteErrors.h"
#include "remote/SFTPClient.h"
#include "remote/ssh/RemoteLog.h"
#include "remote/ssh/SshError.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

/// In bytes: a larger entry cannot be a link.
constexpr quint64 longestLink = 4096;

} // namespace

RemoteFile::RemoteFile(std::shared_ptr<Client> client, QString path,
                       std::weak_ptr<RemoteFileListener> listener)
    : client_(std::move(client)), path_(std::move(path)), listener_(std::move(listener)) {}

std::optional<QByteArray> RemoteFile::answer(const QString& command, CommandUse use,
                                             const IsCancelled& isCancelled) {
    auto output = client_->answer(command, use, isUnwanted(isCancelled));
    if (isCancelled && isCancelled())
        return std::nullopt;
    const auto listener = output ? nullptr : listener_.lock();
    if (listener && !client_->isConnected())
        listener->connectionGone();
    return output;
}

bool RemoteFile::read(const QString& command, CommandUse use, const OutputSink& sink,
                      const IsCancelled& isCancelled) {
    const bool isRead = client_->read(command, use, sink, isUnwanted(isCancelled));
    if (isCancelled && isCancelled())
        return false;
    const auto listener = isRead ? nullptr : listener_.lock();
    if (listener && !client_->isConnected())
        listener->connectionGone();
    return isRead;
}

RemoteFile::IsCancelled RemoteFile::isUnwanted(const IsCancelled& isCancelled) const {
    return [this, &isCancelled] { return isNoFile_ || (isCancelled && isCancelled()); };
}

qint64 RemoteFile::numberIn(const QByteArray& output) {
    const QByteArray text = output.trimmed();
    if (text.isEmpty())
        return 0;
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    if (isNumber && number >= 0)
        return number;
    {
        const MutexLock guard(mutex_);
        const std::uint64_t login = client_->loginNumber();
        if (std::exchange(printingLogin_, login) == login)
            return 0;
    }
    if (const auto listener = listener_.lock())
        listener->serverPrintsText(QString::fromUtf8(text));
    return 0;
}

std::optional<qint64> RemoteFile::lineCount(const IsCancelled& isCancelled) {
    const auto output = answer(remotecommands::countLines(path_), CommandUse::Count, isCancelled);
    return output ? std::optional(numberIn(*output)) : std::nullopt;
}

std::optional<quint64> RemoteFile::sizeAt(const QString& path, const IsCancelled& isCancelled) {
    const auto output = answer(remotecommands::size(path), CommandUse::Poll, isCancelled);
    if (!output)
        return std::nullopt;
    bool isNumber = false;
    const quint64 number = output->trimmed().toULongLong(&isNumber);
    if (!isNumber)
        return sizeByStat(*output);
    setFault(Fault::NoSize, {});
    return number;
}

std::optional<quint64> RemoteFile::sizeByStat(const QByteArray& output) {
    const auto information = SFTPClient(client_).infoForFileAtPath(shownPath());
    if (!information)
        return static_cast<quint64>(numberIn(output)); // no better source
    setKind(information.value().kind);
    if (isNoFile_)
        return std::nullopt;
    setFault(Fault::NoSize, QCoreApplication::translate(
                                "RemoteFile", "The server does not tell the size of \"%1\" by \"ls\" and "
                                              "\"awk\": lines that are added are not noticed.")
                                .arg(shownPath()));
    if (!output.trimmed().isEmpty())
        static_cast<void>(numberIn(output));
    return std::nullopt;
}

void RemoteFile::lookWhatItIs() {
    if (const auto information = SFTPClient(client_).infoForFileAtPath(shownPath()))
        setKind(information.value().kind);
}

void RemoteFile::lookBeforeReading() {
    if (client_->isConnected() && client_->stopsOnlyShells())
        lookWhatItIs();
}

void RemoteFile::setKind(RemoteFileKind kind) {
    isNoFile_ = kind == RemoteFileKind::Directory || kind == RemoteFileKind::Special;
    const char* const text =
        kind == RemoteFileKind::Directory
            ? QT_TRANSLATE_NOOP("RemoteFile", "\"%1\" is a directory: choose a file in it.")
            : QT_TRANSLATE_NOOP("RemoteFile", "\"%1\" is no file whose lines could be read.");
    setFault(Fault::NotAFile,
             isNoFile_ ? QCoreApplication::translate("RemoteFile", text).arg(shownPath()) : QString());
}

std::optional<quint64> RemoteFile::size(const IsCancelled& isCancelled) {
    auto bytes = sizeAt(measuredPath(), isCancelled);
    if (isCancelled && isCancelled())
        return std::nullopt;
    const bool mayBeLink = [&] {
        const MutexLock guard(mutex_);
        isSizeKnown_ = bytes.has_value();
        if (!bytes)
            return false;
        const bool isChanged = *bytes != std::exchange(size_, *bytes) && *bytes <= longestLink;
        if (isChanged && place_ == Place::File)
            place_ = Place::Unknown;
        return isChanged && place_ == Place::Unknown;
    }();
    if (const QString path = mayBeLink ? measuredPath() : path_; path != path_) {
        bytes = sizeAt(path, isCancelled);
        const MutexLock guard(mutex_);
        isSizeKnown_ = bytes.has_value();
        size_ = bytes.value_or(size_);
    }
    return bytes;
}

std::optional<quint64> RemoteFile::lastSize() const {
    const MutexLock guard(mutex_);
    return isSizeKnown_ ? std::optional(size_) : std::nullopt;
}

QString RemoteFile::measuredPath() {
    {
        const MutexLock guard(mutex_);
        if (place_ == Place::File)
            return path_;
    }
    const auto link = SFTPClient(client_).linkTarget(shownPath());
    const MutexLock guard(mutex_);
    if (!link) {
        // A link may still appear at the path. If the server cannot resolve links, do not try again.
        const bool mayComeYet = isSshError(link.error(), SshErrorCode::NoSuchFile) ||
                                isSshError(link.error(), SshErrorCode::NotConnected);
        place_ = mayComeYet ? Place::Unknown : Place::File;
        return path_;
    }
    place_ = link.value() ? Place::Link : Place::File;
    QString target = link.value().value_or(path_);
    const QString before = std::exchange(target_, target);
    if (!before.isEmpty() && before != target)
        isOtherTarget_ = true;
    return target;
}

void RemoteFile::lookForLink() {
    {
        const MutexLock guard(mutex_);
        place_ = Place::Unknown;
    }
    measuredPath();
}

bool RemoteFile::takeOtherTarget() {
    const MutexLock guard(mutex_);
    return std::exchange(isOtherTarget_, false);
}

// ---- Why there are no lines

void RemoteFile::lookForFault() {
    if (!client_->isConnected() || printsText() || isNoFile_)
        return;
    SFTPClient files(client_);
    const auto information = files.infoForFileAtPath(shownPath());
    if (information && information.value().fileSize == 0) {
        linesAreThere();
        return;
    }
    const Status reading = information ? files.tryReading(shownPath()) : information.error();
    if (reading)
        setFault(Fault::NoLines, QCoreApplication::translate(
                                     "RemoteFile", "\"%1\" cannot be read, or holds no complete line.")
                                     .arg(shownPath()));
    // A server that cannot answer for files at all says nothing about this one.
    else if (isSshError(reading.error(), SshErrorCode::NoSuchFile) ||
             isSshError(reading.error(), SshErrorCode::CannotRead))
        setFault(Fault::NoLines, reading.error().userText);
}

void RemoteFile::setFault(Fault fault, const QString& text) {
    // Reported under the lock, so that reports arrive in order.
    const MutexLock guard(mutex_);
    faults_[static_cast<std::size_t>(fault)] = text;
    const auto first =
        std::find_if(faults_.begin(), faults_.end(), [](const QString& one) { return !one.isEmpty(); });
    const QString told = first == faults_.end() ? QString() : *first;
    if (std::exchange(fault_, told) == told)
        return;
    if (const auto listener = listener_.lock())
        listener->fileFault(told);
}

bool RemoteFile::printsText() const {
    const MutexLock guard(mutex_);
    return printingLogin_ != 0 && printingLogin_ == client_->loginNumber();
}

QString RemoteFile::shownPath() const {
    // The URL adds a "/" in front of an absolute path.
    return path_.startsWith(QStringLiteral("//")) ? path_.sliced(1) : path_;
}

// ---- The connection, and the lines

void RemoteFile::close() {
    isClosed_ = true;
    client_->disconnect();
}

Result<Client::Connection> RemoteFile::connect() {
    if (isClosed_)
        return Client::Connection{};
    auto connection = client_->logIn(LoginAsked::ByProgram);
    if (isClosed_) {
        // A login that began before the file was closed may have succeeded since.
        client_->disconnect();
        return Client::Connection{};
    }
    lookBeforeReading();
    return connection;
}

bool RemoteFile::connectForPage() {
    if (isNoFile_ || isClosed_)
        return false;
    const bool wasConnected = client_->isConnected();
    const std::uint64_t login = client_->loginNumber();
    const auto listener = listener_.lock();
    if (!wasConnected && client_->wasRefused()) {
        // Another attempt may lock the user out, or repeat a question that the user has declined.
        if (listener)
            listener->connectionGone();
        return false;
    }
    const auto connection = connect();
    if (connection && connection.value().isAuthorised)
        return true;
    if (!connection) {
        qCWarning(logRemote, "Error: %ls : when loading remote log file lines!",
                  qUtf16Printable(connection.error().userText));
        if (listener)
            listener->connectionGone();
        return false;
    }
    if (isClosed_)
        return false;
    if (wasConnected) {
        const Error lost = remoteerror::connectionLost();
        qCWarning(logRemote, "%ls %ls", qUtf16Printable(lost.userText),
                  qUtf16Printable(lost.recoverySuggestion));
    }
    if (listener)
        wasConnected && client_->claimLoss(login) ? listener->connectionLost() : listener->connectionGone();
    return false;
}

} // namespace korvane
