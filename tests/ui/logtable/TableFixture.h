#pragma once

#include "support/WindowDriver.h"
#include "ui/logtable/FakeDataSource.h"
#include "ui/logtable/LogTableView.h"

#include <memory>

namespace korvane::test {

/// A table in its own window, with generated rows.
class TableFixture : public ::testing::Test, public WindowDriver {
protected:
    using Ranges = std::vector<RowSelection::Range>;

    static QFont font() {
        QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        font.setPointSize(12);
        return font;
    }
    void show(qint64 rows, std::function<QString(qint64)> text = {}, bool wrapping = false) {
        source_ = std::make_shared<FakeDataSource>(rows, std::move(text));
        view_.hide();
        view_.setColumnWidth(cell::lineMark, 18);
        view_.setColumnWidth(cell::lineNum, 60);
        view_.resize(600, 400);
        view_.delegate().setFont(font());
        view_.delegate().setWrapping(wrapping);
        view_.setColumnWidth(cell::line, 500);
        view_.delegate().setDataSource(source_);
        view_.layoutChanged();
        view_.setRowCount(rows);
        view_.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view_));
    }
    void show(qint64 rows, const QString& text, bool wrapping = false) {
        show(
            rows, [text](qint64) { return text; }, wrapping);
    }
    void setRows(qint64 rows, qint64 firstChanged = 0) {
        source_->setRows(rows);
        view_.setRowCount(rows);
        view_.rowsChanged(firstChanged);
    }
    void unload(std::set<qint64> rows) {
        source_->unloaded = std::move(rows);
        view_.rowsChanged();
    }
    void unloadAll() {
        for (qint64 row = 0; row < view_.rowCount(); ++row)
            source_->unloaded.insert(row);
        view_.rowsChanged();
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(&view_, key, modifiers); }

    std::shared_ptr<FakeDataSource> source_;
    std::unique_ptr<LogTableView> window_ = std::make_unique<LogTableView>();
    LogTableView& view_ = *window_;
};

} // namespace korvane::test
