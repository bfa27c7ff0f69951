#include "remote/RemoteFile.h"

#include "core/Pages.h"
#include "foundation/Log.h"
#include "remote/RemoteErrors.h"

#include <algorithm>
#include <utility>

namespace korvane {

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

quint64 RemoteFile::size(const IsCancelled& isCancelled) {
    const auto output =
        run(QStringLiteral("ls -nl \"") + path_ + QStringLiteral("\" | awk '{print $5}'"), isCancelled);
    return output ? static_cast<quint64>(numberIn(*output)) : 0;
}

void RemoteFile::close() {
    isClosed_ = true;
    client_->disconnect();
}

Result<Client::Connection> RemoteFile::connect() {
    if (isClosed_)
        return Client::Connection{};
    const bool wasConnected = client_->isConnected();
    auto connection = client_->connect();
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
