#pragma once

#include "remote/RemoteSession.h"
#include "remote/ShellClient.h"

namespace korvane::test {

/// Over the local shell instead of a server.
class ShellSession : public RemoteSession {
protected:
    ~ShellSession() override {
        if (client_)
            client_->isHeld = false;
    }

    void make() {
        document_ =
            RemoteDocument::create(std::make_shared<RemoteHost>(QStringLiteral("h"), 22, QStringLiteral("u")),
                                   [this](const std::shared_ptr<RemoteHost>& host) {
                                       client_ = std::make_shared<ShellClient>(host, alerts_);
                                       return client_;
                                   });
    }
    void open(const QByteArray& content, const QByteArray& name = "a b.log") {
        if (!document_ || document_->isClosed())
            make();
        file_ = std::make_unique<TemporaryFile>(content, name);
        RemoteSession::open(document_, path());
    }
    void openLoaded(const QByteArray& content) {
        open(content);
        ASSERT_TRUE(loaded());
        ASSERT_TRUE(waitForRows(content.count('\n')));
    }
    /// As above, and loads the first page, which is requested in parallel with the count.
    void openShown(const QByteArray& content) {
        openLoaded(content);
        row(0);
        settle();
    }
    QString path() const { return QString::fromUtf8(file_->path()); }
    QString pageCommand(int page) const {
        return QStringLiteral("tail -n+%1 \"/%2\" | head -n 5000").arg((page - 1) * 5000 + 1).arg(path());
    }
    QStringList pageCommands() const { return client_->commands(QStringLiteral("tail")); }
    qsizetype polls() const { return client_->commands(QStringLiteral("ls -nl \"")).size(); }
    bool waitForPolls(qsizetype count) {
        return waitFor([this, end = polls() + count] { return polls() > end; });
    }
    qsizetype counts() const { return client_->commands(QStringLiteral("wc")).size(); }
    void follow() {
        document_->startTailingWhenLoaded();
        ASSERT_TRUE(waitForPolls(1));
        changes_.clear();
    }

    std::unique_ptr<TemporaryFile> file_;
    std::shared_ptr<ShellClient> client_;
};

} // namespace korvane::test
