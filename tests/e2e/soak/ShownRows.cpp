#include "e2e/soak/ShownRows.h"

#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "documents/Document.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QWindow>

#include <algorithm>

namespace korvane::soak {
namespace {

std::string quoted(const QString& text) {
    constexpr qsizetype longest = 120;
    std::string shown = '"' + text.left(longest).toStdString() + '"';
    if (text.size() > longest)
        shown += "… (" + std::to_string(text.size()) + " units)";
    return shown;
}

/// How many bytes at the end begin a character that is not there as a whole yet.
std::size_t unfinishedBytes(std::string_view content) {
    for (std::size_t back = 1; back <= std::min<std::size_t>(3, content.size()); ++back) {
        const auto byte = static_cast<unsigned char>(content[content.size() - back]);
        if ((byte & 0xC0) == 0x80)
            continue;
        const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
        return length > back ? back : 0;
    }
    return 0;
}

std::string unequalText(const char* where, qint64 row, const QString& shown, const QString& expected) {
    return std::string(where) + " row " + std::to_string(row) + " shows " + quoted(shown) +
           ", the file holds " + quoted(expected);
}

} // namespace

std::vector<QString> linesOf(std::string_view content) {
    content.remove_suffix(unfinishedBytes(content));
    std::vector<QString> lines;
    for (;;) {
        const std::size_t end = std::min(content.find('\n'), content.size());
        lines.push_back(QString::fromUtf8(content.data(), static_cast<qsizetype>(end)));
        if (end == content.size())
            return lines;
        content.remove_prefix(end + 1);
    }
}

ShownRows::ShownRows(MainWindowController& page, std::vector<QString> lines, std::uint64_t seed)
    : page_(page), lines_(std::move(lines)), random_(seed) {}

std::optional<std::string> ShownRows::difference() {
    LogTableView& table = page_.logView().tableView();
    const auto count = static_cast<qint64>(lines_.size());
    for (const qint64 shown : {table.rowCount(), page_.document()->dataSource()->numberOfRows()}) {
        if (shown != count)
            return "there are " + std::to_string(shown) + " rows, the file holds " + std::to_string(count) +
                   " lines";
    }
    if (table.isAtEnd() != table.stoodAtEnd())
        return "the view has not learnt yet how tall its rows have become";
    if (auto found = differenceOnScreen())
        return found;
    if (suspect_ < count) {
        if (auto found = differenceInRow(suspect_))
            return found;
    }
    for (qint64 row = 0; row < count; ++row) {
        if (auto found = differenceInRow(row)) {
            suspect_ = row;
            return found;
        }
    }
    for (const qint64 row : sampledRows()) {
        if (auto found = differenceInTable(row))
            return found;
    }
    return std::nullopt;
}

std::optional<std::string> ShownRows::differenceOnScreen() const {
    LogTableView& table = page_.logView().tableView();
    const auto source = page_.document()->dataSource();
    for (qint64 row = table.firstVisibleRow(); row <= table.lastVisibleRow(); ++row) {
        const QString& expected = lines_[static_cast<std::size_t>(row)];
        const auto line = source->cachedRowLine(row);
        if (!line)
            return "row " + std::to_string(row) + " on the screen is not loaded";
        if (line->line.string() != expected)
            return unequalText("on the screen,", row, line->line.string(), expected);
    }
    if (auto found = differenceInPainting())
        return found;
    for (qint64 row = table.firstVisibleRow(); row <= table.lastVisibleRow(); ++row) {
        if (auto found = differenceInTable(row))
            return found;
    }
    return std::nullopt;
}

std::optional<std::string> ShownRows::differenceInPainting() const {
    QWidget& viewport = *page_.logView().tableView().viewport();
    QWidget& window = *viewport.window();
    const QRect area(viewport.mapTo(&window, QPoint()), viewport.size());
    const QImage painted = QGuiApplication::primaryScreen()
                               ->grabWindow(window.winId(), area.x(), area.y(), area.width(), area.height())
                               .toImage()
                               .convertToFormat(QImage::Format_RGB32);
    const QImage fresh = window.grab(area).toImage().convertToFormat(QImage::Format_RGB32);
    return painted == fresh ? std::nullopt : std::optional<std::string>("the screen was not painted anew");
}

std::optional<std::string> ShownRows::differenceInTable(qint64 row) const {
    auto& delegate = page_.logView().tableView().delegate();
    const qint64 number = delegate.viewForTableColumn(cell::lineNum, row).lineNumber;
    if (number != row + 1)
        return "row " + std::to_string(row) + " has the line number " + std::to_string(number);
    const auto view = delegate.viewForTableColumn(cell::line, row);
    if (!view.row)
        return "in the table, row " + std::to_string(row) + " is loading";
    const QString& expected = lines_[static_cast<std::size_t>(row)];
    if (view.row->line.string() != expected)
        return unequalText("in the table,", row, view.row->line.string(), expected);
    return std::nullopt;
}

std::optional<std::string> ShownRows::differenceInRow(qint64 row) const {
    const RowLine line = page_.document()->dataSource()->rowLine(row);
    if (!line.isLoaded)
        return "row " + std::to_string(row) + " is not loaded";
    const QString& expected = lines_[static_cast<std::size_t>(row)];
    if (line.line.string() != expected)
        return unequalText("of all,", row, line.line.string(), expected);
    if (line.rowNum != row + 1 || line.cutBytes != 0)
        return "row " + std::to_string(row) + " says it is line " + std::to_string(line.rowNum) +
               " without " + std::to_string(line.cutBytes) + " bytes";
    return std::nullopt;
}

std::vector<qint64> ShownRows::sampledRows() {
    const auto count = static_cast<qint64>(lines_.size());
    std::vector<qint64> rows = {0, count - 1};
    for (qint64 page = 1; page < pages::pageOfLine(count - 1); ++page) {
        rows.push_back(pages::firstLine(page + 1) - 1);
        rows.push_back(pages::firstLine(page + 1));
    }
    for (int i = 0; i < 20; ++i)
        rows.push_back(static_cast<qint64>(random_() % static_cast<std::uint64_t>(count)));
    return rows;
}

} // namespace korvane::soak
