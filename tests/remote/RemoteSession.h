#pragma once

#include "core/Preferences.h"
#include "core/RowsUpdatedNotificationObject.h"
#include "core/TailDataSourceProtocol.h"
#include "foundation/work/OperationQueue.h"
#include "remote/RemoteDocument.h"
#include "remote/RemoteLogDataSource.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "support/NumberedLines.h"
#include "support/PreferencesTest.h"
#include "support/RecordedAlerts.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"

#include <vector>

namespace korvane::test {

/// A remote document, its notices, and its settings. Not followed by default.
class RemoteSession : public PreferencesTest {
protected:
    RemoteSession() {
        Preferences::shared().setStartTailingOnFileOpen(false);
        Preferences::shared().setPollingInterval(Preferences::shortestPollingInterval);
        RemoteRecentFilesManager::setShared(
            std::make_unique<RemoteRecentFilesManager>(Preferences::shared().userDefaults()));
    }
    ~RemoteSession() override {
        if (document_)
            document_->close();
        document_.reset();
        // Workers may still report to the alerts.
        settle();
        RemoteRecentFilesManager::setShared(nullptr);
    }

    void open(std::shared_ptr<RemoteDocument> document, const QString& path) {
        document_ = std::move(document);
        DocumentNotices& notices = document_->notices();
        subscriptions_.push_back(notices.rowsUpdated.subscribe(
            [this](const RowsUpdatedNotificationObject& rows) { changes_.push_back(rows.idx); }));
        subscriptions_.push_back(
            notices.userUpdate.subscribe([this](const QString& text) { told_.append(text); }));
        subscriptions_.push_back(notices.loaded.subscribe([this] { ++announced_; }));
        ASSERT_TRUE(document_->readFromUrl(RemoteUrl(*document_->host(), path).url()));
        subscriptions_.push_back(document_->dataSource()->notices().pageLoaded.subscribe(
            [this](qint64 page) { loadedPages_.push_back(page); }));
        document_->startLoading();
        document_->windowMade();
    }
    bool loaded() {
        return waitFor([this] { return !document_->isLoading(); });
    }
    bool connectionBecomes(ConnectionState state) {
        return waitFor([&] { return document_->connectionState() == state; });
    }
    bool knownSizeBecomes(qsizetype bytes) {
        return waitFor([&] { return document_->knownFileSize() == static_cast<quint64>(bytes); });
    }
    void reconnect() {
        document_->reconnect();
        ASSERT_TRUE(connectionBecomes(ConnectionState::Connected) && loaded());
    }
    /// Waits until all background work has ended.
    static void settle() { ASSERT_TRUE(test::settle()); }
    /// Returns the messages of the alerts and clears these.
    QStringList takeAlerts() {
        QStringList messages;
        for (const Alert& alert : std::exchange(alerts_.alerts, {}))
            messages << alert.message;
        return messages;
    }
    /// The row count, requested as by a window that polls.
    qint64 rows() const {
        const auto source = std::static_pointer_cast<RemoteLogDataSource>(document_->dataSource());
        source->ensureCounted();
        return source->numberOfRows();
    }
    bool waitForRows(qint64 count) {
        return waitFor([&] { return rows() == count; });
    }
    /// The text of a row; waits until it is loaded.
    QString row(qint64 row) {
        const auto source = document_->dataSource();
        waitFor([&] { return source->rowLine(row).isLoaded; });
        return source->rowLine(row).line.string();
    }
    /// Waits until the row has this text.
    bool rowBecomes(qint64 row, const QString& text) {
        const auto source = document_->dataSource();
        return waitFor([&] { return row < rows() && source->rowLine(row).line.string() == text; });
    }

    RecordedAlerts alerts_;
    std::shared_ptr<RemoteDocument> document_;

    std::vector<LineRange> changes_;
    std::vector<qint64> loadedPages_;
    QStringList told_;
    int announced_ = 0;

private:
    Subscriptions subscriptions_;
};

} // namespace korvane::test
