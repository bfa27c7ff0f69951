#include "e2e/soak/ShownRows.h"

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

namespace korvane::soak {
namespace {

std::string quoted(const QString& text) {
    constexpr qsizetype longest = 120;
    const std::string shown = joined('"', text.left(longest), '"');
    return text.size() > longest ? joined(shown, "… (", text.size(), " units)") : shown;
}

} // namespace

QStringList linesOf(const std::string& content) {
    // Omits an incomplete character at the end.
    QStringDecoder decoder(QStringDecoder::Utf8);
    return QString(decoder(QByteArrayView(content))).split(u'\n');
}

ShownRows::ShownRows(MainWindowController& page, QStringList lines, std::uint64_t seed)
    : page_(page), lines_(std::move(lines)), random_(seed) {}

std::optional<std::string> ShownRows::difference() {
    try {
        compare();
        return std::nullopt;
    } catch (const Fault& fault) {
        return fault.what();
    }
}

void ShownRows::compare() {
    const LogTableView& table = page_.logView().tableView();
    const auto source = page_.document()->dataSource();
    const auto count = qint64(lines_.size());
    for (const qint64 shown : {table.rowCount(), source->numberOfRows()}) {
        if (shown != count)
            throw Fault("there are ", shown, " rows, the file holds ", count, " lines");
    }
    if (table.isAtEnd() != table.stoodAtEnd())
        throw Fault("the view has not learnt yet how tall its rows have become");
    for (qint64 row = table.firstVisibleRow(); row <= table.lastVisibleRow(); ++row) {
        const auto line = source->cachedRowLine(row);
        if (!line)
            throw Fault("row ", row, " on the screen is not loaded");
        compareText("on the screen", row, line->line.string());
    }
    comparePainting();
    for (qint64 row = table.firstVisibleRow(); row <= table.lastVisibleRow(); ++row)
        compareInTable(row);
    compareInSource(std::min(suspect_, count - 1));
    for (suspect_ = 0; suspect_ < count; ++suspect_)
        compareInSource(suspect_);
    for (const qint64 row : sampledRows())
        compareInTable(row);
}

void ShownRows::compareText(const char* where, qint64 row, const QString& shown) const {
    const QString& expected = lines_[row];
    if (shown != expected)
        throw Fault(where, ", row ", row, " shows ", quoted(shown), ", the file holds ", quoted(expected));
}

void ShownRows::comparePainting() const {
    QWidget& viewport = *page_.logView().tableView().viewport();
    QWidget& window = *viewport.window();
    const QRect area(viewport.mapTo(&window, QPoint()), viewport.size());
    const QImage painted = QGuiApplication::primaryScreen()
                               ->grabWindow(window.winId(), area.x(), area.y(), area.width(), area.height())
                               .toImage()
                               .convertToFormat(QImage::Format_RGB32);
    if (painted != window.grab(area).toImage().convertToFormat(QImage::Format_RGB32))
        throw Fault("the screen was not painted again");
}

void ShownRows::compareInTable(qint64 row) const {
    auto& delegate = page_.logView().tableView().delegate();
    const qint64 number = delegate.viewForTableColumn(cell::lineNum, row).lineNumber;
    if (number != row + 1)
        throw Fault("row ", row, " has the line number ", number);
    const auto view = delegate.viewForTableColumn(cell::line, row);
    if (!view.row)
        throw Fault("in the table, row ", row, " is loading");
    compareText("in the table", row, view.row->line.string());
}

void ShownRows::compareInSource(qint64 row) const {
    const RowLine line = page_.document()->dataSource()->rowLine(row);
    if (!line.isLoaded)
        throw Fault("row ", row, " is not loaded");
    compareText("of all", row, line.line.string());
    if (line.rowNum != row + 1 || line.cutBytes != 0)
        throw Fault("row ", row, " is line ", line.rowNum, " without ", line.cutBytes, " bytes");
}

std::vector<qint64> ShownRows::sampledRows() {
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

} // namespace korvane::soak
