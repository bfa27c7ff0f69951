#pragma once

#include "e2e/soak/Round.h"

#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "documents/Document.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QStringDecoder>
#include <QWindow>

#include <algorithm>
#include <optional>

namespace korvane::soak {

/// The lines of a file's content as text, split at every newline, without an incomplete character at the end.
inline QStringList linesOf(const std::string& content) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    return QString(decoder(QByteArrayView(content))).split(u'\n');
}

/// Compares what a page shows with the lines that its file holds. Main thread.
class ShownRows {
public:
    ShownRows(MainWindowController& page, QStringList lines, std::uint64_t seed)
        : page_(page), lines_(std::move(lines)), random_(seed) {}

    /// Describes the first difference; nullopt if window and file agree. Checks what is painted, then the
    /// rows on the screen, then every row there is: in this order the checks load no rows in place of the
    /// window.
    std::optional<std::string> difference() {
        try {
            compare();
            return std::nullopt;
        } catch (const Fault& fault) {
            return fault.what();
        }
    }

    qint64 lineCount() const { return lines_.size(); }

private:
    static std::string quoted(const QString& text) {
        constexpr qsizetype longest = 120;
        const std::string shown = joined('"', text.left(longest), '"');
        return text.size() > longest ? joined(shown, "… (", text.size(), " units)") : shown;
    }

    // These throw a Fault.
    void compare() {
        const LogTableView& table = page_.logView().tableView();
        const auto source = page_.document()->dataSource();
        const auto count = qint64(lines_.size());
        for (const qint64 shown : {table.rowCount(), source->numberOfRows()}) {
            if (shown != count)
                throw Fault("there are ", shown, " rows, the file holds ", count, " lines");
        }
        if (table.scroller().isAtEnd() != table.scroller().stoodAtEnd())
            throw Fault("the view has not learnt yet how tall its rows have become");
        for (qint64 row = table.scroller().firstVisibleRow(); row <= table.scroller().lastVisibleRow();
             ++row) {
            const auto line = source->cachedRowLine(row);
            if (!line)
                throw Fault("row ", row, " on the screen is not loaded");
            compareText("on the screen", row, line->line.string());
        }
        comparePainting();
        for (qint64 row = table.scroller().firstVisibleRow(); row <= table.scroller().lastVisibleRow(); ++row)
            compareInTable(row);
        compareInSource(std::min(suspect_, count - 1));
        for (suspect_ = 0; suspect_ < count; ++suspect_)
            compareInSource(suspect_);
        for (const qint64 row : sampledRows())
            compareInTable(row);
    }

    void compareText(const char* where, qint64 row, const QString& shown) const {
        const QString& expected = lines_[row];
        if (shown != expected)
            throw Fault(where, ", row ", row, " shows ", quoted(shown), ", the file holds ",
                        quoted(expected));
    }

    void comparePainting() const {
        QWidget& viewport = *page_.logView().tableView().viewport();
        QWidget& window = *viewport.window();
        const QRect area(viewport.mapTo(&window, QPoint()), viewport.size());
        const QImage painted =
            QGuiApplication::primaryScreen()
                ->grabWindow(window.winId(), area.x(), area.y(), area.width(), area.height())
                .toImage()
                .convertToFormat(QImage::Format_RGB32);
        if (painted != window.grab(area).toImage().convertToFormat(QImage::Format_RGB32))
            throw Fault("the screen was not painted again");
    }

    void compareInTable(qint64 row) const {
        auto& delegate = page_.logView().tableView().delegate();
        const qint64 number = delegate.viewForTableColumn(cell::lineNum, row).lineNumber;
        if (number != row + 1)
            throw Fault("row ", row, " has the line number ", number);
        const auto view = delegate.viewForTableColumn(cell::line, row);
        if (!view.row)
            throw Fault("in the table, row ", row, " is loading");
        compareText("in the table", row, view.row->line.string());
    }

    void compareInSource(qint64 row) const {
        const RowLine line = page_.document()->dataSource()->rowLine(row);
        if (!line.isLoaded)
            throw Fault("row ", row, " is not loaded");
        compareText("of all", row, line.line.string());
        if (line.rowNum != row + 1 || line.cutBytes != 0)
            throw Fault("row ", row, " is line ", line.rowNum, " without ", line.cutBytes, " bytes");
    }

    std::vector<qint64> sampledRows() {
        const auto count = qint64(lines_.size());
        std::vector<qint64> rows = {0, count - 1};
        for (qint64 page = 1; page < pages::pageOfLine(count - 1); ++page) {
            rows.push_back(pages::firstLine(page + 1) - 1);
            rows.push_back(pages::firstLine(page + 1));
        }
        for (int i = 0; i < 20; ++i)
            rows.push_back(static_cast<qint64>(random_() % static_cast<std::uint64_t>(count)));
        return rows;
    }

    MainWindowController& page_;
    const QStringList lines_;
    std::mt19937_64 random_;
    /// The row with the last difference: compared first.
    qint64 suspect_ = 0;
};

} // namespace korvane::soak
