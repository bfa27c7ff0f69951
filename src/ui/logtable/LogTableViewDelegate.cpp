#include "ui/logtable/LogTableViewDelegate.h"

#include "core/DataSourceRoles.h"

namespace korvane {

int LogTableViewDelegate::CellView::textLength() const {
    return row->line.length() - (row->line.string().endsWith(u'\r') ? 1 : 0);
}

LogTableViewDelegate::LogTableViewDelegate(std::function<qreal()> lineTextWidth)
    : lineTextWidth_(std::move(lineTextWidth)) {
    setFont(QFont());
}

void LogTableViewDelegate::setDataSource(std::shared_ptr<TableRows> dataSource) {
    dataSource_ = std::move(dataSource);
    rowsChanged();
}

void LogTableViewDelegate::setFont(const QFont& font) {
    layouts_.clear();
    metrics_ = std::make_unique<LineMetrics>(font);
    resetRowHeights();
}

void LogTableViewDelegate::setGrounds(const TableGrounds& grounds) {
    grounds_ = grounds;
    layouts_.clear();
}

void LogTableViewDelegate::setMap(const RowMap& map) {
    const bool hides = map.showsAll() != map_.showsAll();
    std::erase_if(layouts_, [&](const auto& entry) {
        return hides || map.isContext(entry.first) != map_.isContext(entry.first);
    });
    map_ = map;
}

void LogTableViewDelegate::setWrapping(bool wrapping) {
    wrapping_ = wrapping;
    resetRowHeights();
}

qreal LogTableViewDelegate::heightOfRow(qint64 row) {
    if (!rowHtForCurrentFont_)
        rowHtForCurrentFont_ = metrics_->lineHeight();
    if (!wrapping_ || !dataSource_)
        return *rowHtForCurrentFont_;
    if (const auto cached = rowHeightCache_.find(row); cached != rowHeightCache_.end())
        return cached->second;
    const auto line = dataSource_->cachedRowLine(row);
    if (!line || line->line.string().isEmpty())
        return metrics_->lineHeight();
    const qreal height = measuredHeight(line->line);
    rowHeightCache_.emplace(row, height);
    return height;
}

qreal LogTableViewDelegate::measuredHeight(const AttributedString& line) const {
    return LineLayout::make(line, *metrics_, wrapWidth())->visualLineCount() * metrics_->lineHeight();
}

std::optional<qreal> LogTableViewDelegate::wrapWidth() const {
    return wrapping_ ? std::optional(lineTextWidth_()) : std::nullopt;
}

LogTableViewDelegate::CellView LogTableViewDelegate::viewForTableColumn(QLatin1StringView column,
                                                                        qint64 row) {
    if (!dataSource_)
        return {cell::loading};
    if (column == cell::lineMark)
        return {.identifier = cell::lineMark, .isMarked = dataSource_->hasLineMark(row)};
    if (column == cell::lineNum)
        return {.identifier = cell::lineNum, .lineNumber = dataSource_->rowStart() + row + 1};
    const Prepared* line = prepared(row);
    if (!line)
        return {cell::loading};
    if (line->row.marks.hideLine && map_.showsAll())
        return {.identifier = cell::filtered, .row = &line->row};
    return {.identifier = wrapping_ ? cell::wrappedLine : cell::line,
            .layout = line->layout.get(),
            .row = &line->row};
}

bool LogTableViewDelegate::isLoaded(qint64 row) const {
    return layouts_.contains(row) || (dataSource_ && dataSource_->cachedRowLine(row));
}

const LogTableViewDelegate::Prepared* LogTableViewDelegate::prepared(qint64 row) {
    if (const auto known = layouts_.find(row); known != layouts_.end())
        return &known->second;
    RowLine line = dataSource_->rowLine(row);
    if (!line.isLoaded)
        return nullptr;
    Prepared made{std::move(line), nullptr};
    made.layout = LineLayout::make(map_.isContext(row) ? grounds_.mutedLine(made.row.line)
                                                       : grounds_.shownLine(made.row.line),
                                   *metrics_, wrapWidth());
    return &layouts_.emplace(row, std::move(made)).first->second;
}

void LogTableViewDelegate::resetRowHeights() {
    rowHtForCurrentFont_.reset();
    rowHeightCache_.clear();
    layouts_.clear();
}

void LogTableViewDelegate::rowsChanged(qint64 firstRow, qint64 lastRow) {
    const auto hasChanged = [=](const auto& entry) {
        return entry.first >= firstRow && entry.first <= lastRow;
    };
    std::erase_if(rowHeightCache_, hasChanged);
    std::erase_if(layouts_, hasChanged);
}

void LogTableViewDelegate::keepLayouts(qint64 firstRow, qint64 lastRow) {
    std::erase_if(layouts_,
                  [&](const auto& entry) { return entry.first < firstRow || entry.first > lastRow; });
}

} // namespace korvane
