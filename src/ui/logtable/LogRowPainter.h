#pragma once

#include "foundation/text/AttributedString.h"
#include "ui/logtable/LogTableColumns.h"
#include "ui/logtable/LogTableLooks.h"
#include "ui/logtable/LogTableViewDelegate.h"
#include "ui/logtable/RowPlaces.h"
#include "ui/logtable/TableGrounds.h"

#include <QFont>
#include <QSize>

#include <optional>
#include <vector>

class QPainter;

namespace korvane {

/// Draws the rows of the log table in one paint event of its viewport, whose coordinates it uses.
class LogRowPainter {
public:
    /// Space to the left of a line's text, and to the right of a number.
    static constexpr qreal textMargin = 6;

    struct Style {
        const TableGrounds& grounds;
        QFont labelFont;
        QSize viewSize;
        /// Horizontal scroll offset of the lines.
        qreal horizontalOffset = 0;
        /// Draw "Loading" in rows that are not loaded.
        bool showsLoading = false;
    };
    struct RowState {
        bool isSelected = false;
        bool isCurrent = false;
        /// Rows directly above it are not shown.
        bool followsGap = false;
        /// Empty for none.
        TextRange selectedText;
        /// The position of the caret in the text; absent while no caret is shown.
        std::optional<int> caret = std::nullopt;
    };

    /// All references must outlive the painter.
    LogRowPainter(QPainter& painter, LogTableViewDelegate& delegate, const LogTableColumns& columns,
                  Style style);

    void paint(const RowPlaces::VisibleRow& row, const RowState& state);
    /// Draws a row that stands for rows that are not shown.
    void paintGap(const RowPlaces::VisibleRow& gap);
    /// The line beside the numbers and, when lines wrap, those between the rows.
    void paintSeparators(const std::vector<RowPlaces::VisibleRow>& rows);
    /// Draws the focus frame: around the current row, or around the view when that row is not visible.
    void paintFocus(const std::vector<RowPlaces::VisibleRow>& rows, qint64 currentRow);

    /// The texts in place of a line that is not loaded, and of a line that rules hide.
    static QString loadingText();
    static QString filteredText();
    /// The text of a gap.
    static QString gapText(qint64 hiddenRows);
    /// Note that the line is longer than shown; empty when it is not.
    static QString cutText(const LogTableViewDelegate::CellView& view);
    /// A rule was too slow for the line.
    static bool isGivenUp(const LogTableViewDelegate::CellView& view);

    /// Width of the widest line painted so far.
    qreal widestLine() const { return widestLine_; }
    bool hasMetUnloadedRow() const { return hasMetUnloadedRow_; }

private:
    using CellView = LogTableViewDelegate::CellView;

    /// Background of a row, except for a line with its own background.
    const QColor& groundOf(const RowState& state) const;
    void paintMark(const RowPlaces::VisibleRow& row, const QRectF& place, const QColor& ground);
    /// A tick between the numbers of two rows that do not follow each other.
    void paintTick(const RowPlaces::VisibleRow& row, qreal left, qreal right);
    void paintNumber(const RowPlaces::VisibleRow& row, qreal right, const RowState& state);
    void paintLine(const RowPlaces::VisibleRow& row, const QRectF& area, const RowState& state);
    void paintCaret(const QRectF& character, const QColor& color);
    void paintNotice(const QPointF& baseline, const QString& text, const QColor& ground);
    void paintCutBadge(const QRectF& area, const CellView& view);
    /// Marks a line on which a rule has given up.

    QPainter& painter_;
    LogTableViewDelegate& delegate_;
    const LogTableColumns& columns_;
    const Style style_;
    const LogTableColors& colors_;
    qreal lineX_ = 0;
    qreal widestLine_ = 0;
    bool hasMetUnloadedRow_ = false;
};

} // namespace korvane
