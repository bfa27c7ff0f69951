#pragma once

#include "core/TailDataSourceProtocol.h"
#include "documents/LoadProgressController.h"
#include "support/NumberedLines.h"
#include "support/Session.h"
#include "support/TemporaryFile.h"
#include "support/WindowDriver.h"

namespace korvane::test {

/// The program with its own settings.
class AppFixture : public ::testing::Test,
                   public WindowDriver,
                   protected OwnSettings,
                   protected ProgramInDirectory {
protected:
    AppFixture() : ProgramInDirectory(settings_.path()) {}
    ~AppFixture() override { EXPECT_TRUE(close()); }

    /// Opens a file and waits until its first scan has ended and the visible rows have their text.
    MainWindowController* open(const TemporaryFile& file, std::optional<qint64> line = std::nullopt) {
        const auto document = documents_.openDocument(file.url(), line);
        EXPECT_TRUE(document);
        MainWindowController* page = windows_.pageOf(*document);
        EXPECT_TRUE(until([&] { return !page->isLoading() && isShown(*page); }));
        return page;
    }
    /// As above, with a new file of that content, which lives as long as the fixture.
    MainWindowController* open(const QByteArray& content, const QByteArray& name = "test.log") {
        return open(*files_.emplace_back(std::make_unique<TemporaryFile>(content, name)));
    }
    /// As above, and waits until the file is followed.
    MainWindowController* openFollowed(const TemporaryFile& file) {
        Preferences::shared().setPollingInterval(0.1);
        MainWindowController* page = open(file);
        EXPECT_TRUE(until([&] { return page->isTailing(); }));
        return page;
    }

    static LogTableView& tableOf(MainWindowController* page) { return page->logView().tableView(); }
    static auto cellOf(MainWindowController* page, qint64 row) {
        return tableOf(page).delegate().viewForTableColumn(cell::line, row);
    }

    static bool isShown(MainWindowController& page) {
        LogTableView& table = tableOf(&page);
        if (table.rowCount() != page.document()->dataSource()->numberOfRows())
            return false;
        for (qint64 row = table.scroller().firstVisibleRow(); row <= table.scroller().lastVisibleRow();
             ++row) {
            if (cellOf(&page, row).identifier == cell::loading)
                return false;
        }
        return true;
    }

    static MainWindow* windowOf(const MainWindowController* page) {
        return qobject_cast<MainWindow*>(page->window());
    }

    static QString textOfRow(MainWindowController& page, qint64 row) {
        const auto view = cellOf(&page, row);
        return view.row ? view.row->line.string() : QStringLiteral("(not loaded)");
    }

private:
    std::vector<std::unique_ptr<TemporaryFile>> files_;
};

} // namespace korvane::test
