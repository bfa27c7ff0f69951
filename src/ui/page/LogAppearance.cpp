#include "ui/page/LogAppearance.h"

#include "core/Preferences.h"
#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "rules/FiltersManager.h"
#include "ui/page/LogZoom.h"

#include <QEvent>

#include <algorithm>
#include <cmath>
#include <utility>

namespace korvane {
namespace {

constexpr qreal lineMarkColumnWidth = 18;
constexpr qreal numberPadding = 14;
constexpr int fewestDigits = 4;

/// The default text colours, meant for a white background.
std::vector<QColor> unchosenColors() {
    std::vector<QColor> colors = FiltersManager::defaultTextColors();
    colors.emplace_back(Preferences::defaultLineNumberColor);
    return colors;
}

} // namespace

LogAppearance::LogAppearance(std::shared_ptr<Document> document,
                             std::shared_ptr<TailDataSourceProtocol> dataSource, LogTableView& table,
                             QObject* parent)
    : QObject(parent), document_(std::move(document)), dataSource_(std::move(dataSource)), table_(table) {
    auto& preferences = Preferences::shared();
    const QString fileId = document_->settingsId();
    wrappingLines_ =
        preferences.hasWrapLines(fileId) ? preferences.isWrapLines(fileId) : preferences.wrapLines();
    document_->setWrapping(wrappingLines_);
    table_.setColumnWidth(cell::lineMark, lineMarkColumnWidth);
    table_.delegate().setWrapping(wrappingLines_);
    applyColors();
    applyFont();
    setShowsLineNumbers(preferences.showLineNumbers());
    preferencesToken_ = preferences.observe([this](const QString& key) { preferenceChanged(key); });
    connect(&LogZoom::shared(), &LogZoom::changed, this, &LogAppearance::applyFont);
    connect(&table_, &LogTableView::zoomRequested, this, [](int steps) { LogZoom::shared().change(steps); });
    table_.installEventFilter(this);
}

bool LogAppearance::eventFilter(QObject* watched, QEvent* event) {
    if (watched == &table_ && event->type() == QEvent::Resize) {
        // This filter runs before the table has its new size, so the column is updated right afterwards.
        QMetaObject::invokeMethod(this, &LogAppearance::updateLineColumnWidth, Qt::QueuedConnection);
    }
    return QObject::eventFilter(watched, event);
}

void LogAppearance::preferenceChanged(const QString& key) {
    const auto& preferences = Preferences::shared();
    if (key == Preferences::keyLogViewFont) {
        dataSource_->invalidateRows();
        LogZoom::shared().reset(); // show the size that was chosen
        applyFont();
    } else if (key == Preferences::keyLogViewFGColor || key == Preferences::keyLogViewBGColor) {
        dataSource_->invalidateRows();
        applyColors();
        table_.redecorate();
    } else if (key == Preferences::keyLogViewLineNumberFGColor) {
        applyColors();
    } else if (key == Preferences::keyShowLineNumbers) {
        setShowsLineNumbers(preferences.showLineNumbers());
    }
}

void LogAppearance::applyFont() {
    table_.delegate().setFont(LogZoom::shared().shownFont());
    updateLineNumberColumn();
    updateLineColumnWidth();
    table_.layoutChanged();
}

void LogAppearance::applyColors() {
    const auto& preferences = Preferences::shared();
    table_.setColors({preferences.logViewBackground(), preferences.logViewForeground(),
                      preferences.logViewLineNumViewForeground(), unchosenColors()});
}

void LogAppearance::updateLineNumberColumn() {
    const qint64 largest = std::max<qint64>(1, dataSource_->rowCount());
    const int digits = std::max(fewestDigits, static_cast<int>(QString::number(largest).size()));
    const qreal width = std::ceil(digits * table_.delegate().metrics().cellWidth() + numberPadding);
    if (lineNumTableCol_) {
        lineNumTableCol_->width = width;
        return;
    }
    if (table_.columns().width(cell::lineNum) == width)
        return;
    table_.setColumnWidth(cell::lineNum, width);
    updateLineColumnWidth();
}

void LogAppearance::updateLineColumnWidth() {
    if (!wrappingLines_)
        return;
    const qreal width = table_.viewport()->width() - table_.columns().x(cell::line);
    if (table_.columns().width(cell::line) == width)
        return;
    table_.setColumnWidth(cell::line, width);
    table_.layoutChanged();
}

void LogAppearance::setWrappingLines(bool wrapping) {
    if (wrapping == wrappingLines_)
        return;
    wrappingLines_ = wrapping;
    document_->setWrapping(wrapping);
    Preferences::shared().setWrapLines(wrapping, document_->settingsId());
    table_.delegate().setWrapping(wrapping);
    updateLineColumnWidth();
    table_.layoutChanged();
    Q_EMIT wrappingChanged();
}

void LogAppearance::setShowsLineNumbers(bool shows) {
    if (shows == showsLineNumbers())
        return;
    LogTableColumns columns = table_.columns();
    if (shows)
        columns.insert(1, *std::exchange(lineNumTableCol_, std::nullopt));
    else
        lineNumTableCol_ = columns.take(cell::lineNum);
    table_.setColumns(columns);
    if (shows)
        updateLineNumberColumn();
    updateLineColumnWidth();
    table_.layoutChanged();
    Q_EMIT lineNumbersChanged();
}

} // namespace korvane
