#pragma once

#include "core/FileObserverProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "documents/LoadProgressController.h"
#include "documents/LocalDocument.h"
#include "support/PreferencesTest.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"

namespace korvane::test {

/// A whole document on a real file.
class DocumentFixture : public PreferencesTest {
protected:
    DocumentFixture() { Preferences::shared().setPollingInterval(0.002); }
    ~DocumentFixture() override {
        if (document_)
            document_->close();
    }

    // Those with `content` include the steps before them.
    void open(const TemporaryFile& file) {
        document_ = LocalDocument::create();
        ASSERT_TRUE(document_->readFromUrl(file.url()));
    }
    void open(const QByteArray& content) { open(file_.emplace(content)); }
    void load() {
        document_->startLoading();
        ASSERT_TRUE(waitForState(LoadProgressController::State::Completed));
    }
    void load(const QByteArray& content) {
        open(content);
        load();
    }
    void follow() {
        document_->startTailingWhenLoaded();
        ASSERT_TRUE(waitForTailing(true));
    }
    /// Following is requested before the load, and starts after it.
    void tail(const QByteArray& content) {
        open(content);
        document_->startTailingWhenLoaded();
        document_->startLoading();
        ASSERT_TRUE(waitForTailing(true));
        EXPECT_EQ(document_->loadProgress()->state(), LoadProgressController::State::Completed);
    }

    bool waitForTailing(bool isTailing) {
        return waitFor([&] { return document_->logFileObserver()->isTailing() == isTailing; });
    }
    bool waitForState(LoadProgressController::State state) {
        return waitFor([&] { return document_->loadProgress()->state() == state; });
    }
    bool waitForRows(const QStringList& rows) {
        return waitFor([&] {
            const auto source = document_->dataSource();
            QStringList shown;
            for (qint64 row = 0; row < std::min<qint64>(source->numberOfRows(), rows.size() + 1); ++row) {
                const RowLine line = source->rowLine(row);
                shown.append(line.isLoaded ? line.line.string() : QStringLiteral("(not loaded)"));
            }
            return shown == rows;
        });
    }

    std::optional<TemporaryFile> file_;
    std::shared_ptr<LocalDocument> document_ = LocalDocument::create();
};

} // namespace korvane::test
