#include "remote/RemoteFile.h"

#include "core/reader/Pages.h"
#include "remote/RemoteErrors.h"
#include "remote/SFTPClient.h"
#include "remote/ssh/RemoteLog.h"
#include "remote/ssh/SshError.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

/// In bytes: what is larger is a file, for sure.
constexpr quint64 longestLink = 4096;

} // namespace

RemoteFile::RemoteFile(std::shared_ptr<Client> client, QString path,
                       std::weak_ptr<RemoteFileListener> listener)
    : client_(std::move(client)), path_(std::move(path)), listener_(std::move(listener)) {}

std::optional<QString> RemoteFile::run(const QString& command, const IsCancelled& isCancelled) {
    std::optional<QString> output = client_->answer(command, isCancelled);
    if (isCancelled && isCancelled())
        return std::nullopt;
    const auto listener = output ? nullptr : listener_.lock();
    if (listener && !client_->isConnected())
        listener->connectionGone();
    return output;
}

qint64 RemoteFile::numberIn(const QString& output) {
    const QString text = output.trimmed();
    if (text.isEmpty())
        return 0;
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    if (isNumber && number >= 0)
        return number;
    {
        const std::lock_guard guard(mutex_);
        const std::uint64_t login = client_->loginNumber();
        if (std::exchange(printingLogin_, login) == login)
            return 0;
    }
    if (const auto listener = listener_.lock())
        listener->serverPrintsText(text);
    return 0;
}

std::optional<qint64> RemoteFile::lineCount(const IsCancelled& isCancelled) {
    const auto output = run(QStringLiteral("wc -l < \"") + path_ + u'"', isCancelled);
    return output ? std::optional(numberIn(*output)) : std::nullopt;
}

quint64 RemoteFile::sizeAt(const QString& path, const IsCancelled& isCancelled) {
    const auto output =
        run(QStringLiteral("ls -nl \"") + path + QStringLiteral("\" | awk '{print $5}'"), isCancelled);
    return output ? static_cast<quint64>(numberIn(*output)) : 0;
}

quint64 RemoteFile::size(const IsCancelled& isCancelled) {
    quint64 bytes = sizeAt(measuredPath(), isCancelled);
    if (isCancelled && isCancelled())
        return 0;
    const bool mayBeLink = [&] {
        const std::lock_guard guard(mutex_);
        const bool isChanged = bytes != std::exchange(size_, bytes) && bytes <= longestLink;
        if (isChanged && place_ == Place::File)
            place_ = Place::Unknown;
        return isChanged && place_ == Place::Unknown;
    }();
    if (const QString path = mayBeLink ? measuredPath() : path_; path != path_) {
        bytes = sizeAt(path, isCancelled);
        const std::lock_guard guard(mutex_);
        size_ = bytes;
    }
    return bytes;
}

quint64 RemoteFile::lastSize() const {
    const std::lock_guard guard(mutex_);
    return size_;
}

QString RemoteFile::measuredPath() {
    {
        const std::lock_guard guard(mutex_);
        if (place_ == Place::File)
            return path_;
    }
    const auto link = SFTPClient(client_).linkTarget(shownPath());
    const std::lock_guard guard(mutex_);
    if (!link) {
        // What is not there yet may become a link. Where nothing can be asked, nothing is asked again.
        const bool mayComeYet = isSshError(link.error(), SshErrorCode::NoSuchFile) ||
                                isSshError(link.error(), SshErrorCode::NotConnected);
        place_ = mayComeYet ? Place::Unknown : Place::File;
        return path_;
    }
    place_ = link.value() ? Place::Link : Place::File;
    QString target = link.value().value_or(path_);
    if (std::exchange(target_, target) != target)
        isOtherTarget_ = true;
    return target;
}

void RemoteFile::lookForLink() {
    {
        const std::lock_guard guard(mutex_);
        place_ = Place::Unknown;
    }
    measuredPath();
}

bool RemoteFile::takeOtherTarget() {
    const std::lock_guard guard(mutex_);
    return std::exchange(isOtherTarget_, false);
}

// ---- Why there is nothing to see

void RemoteFile::lookForFault() {
    if (!client_->isConnected() || printsText())
        return;
    SFTPClient files(client_);
    const auto information = files.infoForFileAtPath(shownPath());
    if (information && information.value().fileSize == 0) {
        setFault({});
        return;
    }
    const Status reading = information ? files.tryReading(shownPath()) : information.error();
    if (reading)
        setFault(
            QCoreApplication::translate("RemoteFile", "\"%1\" cannot be read, or holds no complete line.")
                .arg(shownPath()));
    // A server that does not tell of files at all says nothing of this one.
    else if (isSshError(reading.error(), SshErrorCode::NoSuchFile) ||
             isSshError(reading.error(), SshErrorCode::CannotRead))
        setFault(reading.error().userText);
}

void RemoteFile::setFault(const QString& text) {
    // Told under the lock, so that the last one is heard last.
    const std::lock_guard guard(mutex_);
    if (std::exchange(fault_, text) == text)
        return;
    if (const auto listener = listener_.lock())
        listener->fileFault(text);
}

bool RemoteFile::printsText() const {
    const std::lock_guard guard(mutex_);
    return printingLogin_ != 0 && printingLogin_ == client_->loginNumber();
}

QString RemoteFile::shownPath() const {
    // An absolute path has got one more "/" from the address.
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
    const bool wasConnected = client_->isConnected();
    auto connection = client_->logIn();
    if (isClosed_) {
        // What was begun before may have been reached behind the end.
        client_->disconnect();
        return Client::Connection{};
    }
    const auto listener = listener_.lock();
    if (listener && !wasConnected && connection && connection.value().isAuthorised)
        listener->connectionRestored();
    return connection;
}

bool RemoteFile::connectForPage() {
    const bool wasConnected = client_->isConnected();
    const std::uint64_t login = client_->loginNumber();
    const auto listener = listener_.lock();
    if (!wasConnected && client_->wasRefused()) {
        // Each attempt more may lock the user out, or ask him again what he did not want to answer.
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
    const Error lost = remoteerror::connectionLost();
    qCWarning(logRemote, "%ls %ls", qUtf16Printable(lost.userText), qUtf16Printable(lost.recoverySuggestion));
    client_->endLogin(login);
    if (listener)
        wasConnected && client_->claimLoss(login) ? listener->connectionLost() : listener->connectionGone();
    return false;
}

std::optional<QStringList> RemoteFile::page(qint64 page, const IsCancelled& isCancelled) {
    if (!connectForPage())
        return std::nullopt;
    return lines(pages::firstLine(page), pages::size, isCancelled);
}

std::optional<QStringList> RemoteFile::lines(qint64 first, qint64 count, const IsCancelled& isCancelled) {
    const auto output = run(QStringLiteral("tail -n+") + QString::number(first + 1) + QStringLiteral(" \"") +
                                path_ + QStringLiteral("\" | head -n ") + QString::number(count),
                            isCancelled);
    if (!output)
        return std::nullopt;
    QStringList lines = output->split(u'\n');
    // What stands behind the last newline is no line yet.
    lines.resize(std::min(lines.size() - 1, static_cast<qsizetype>(count)));
    return lines;
}

} // namespace korvane
