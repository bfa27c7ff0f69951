#pragma once

#include "core/RowLine.h"
#include "core/RowMap.h"
#include "ui/logtable/LineLayout.h"
#include "ui/logtable/LineMetrics.h"
#include "ui/logtable/TableGrounds.h"

#include <QImage>
#include <QLatin1StringView>

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <unordered_map>

namespace korvane {

class TableRows;

/// The identifiers of columns and cells.
namespace cell {
using namespace Qt::StringLiterals;
inline constexpr QLatin1StringView lineMark = "LineMark"_L1;
inline constexpr QLatin1StringView lineNum = "LineNum"_L1;
inline constexpr QLatin1StringView line = "Line"_L1;
inline constexpr QLatin1StringView loading = "Loading"_L1;
inline constexpr QLatin1StringView filtered = "Filtered"_L1;
inline constexpr QLatin1StringView wrappedLine = "WrappedLine"_L1;
} // namespace cell

/// Provides the log table with the content of cells and the height of rows. Heights of wrapped rows need a
/// slow layout, so they are cached until the font, the wrapping or the column width changes. Main thread.
class LogTableViewDelegate {
public:
    /// The content of one cell.
    struct CellView {
        QLatin1StringView identifier;
        /// Layout of the line's text; only for "Line" and "WrappedLine". Valid until the next call.
        const LineLayout* layout = nullptr;
        /// Only for "Line" and "WrappedLine"; valid until the next call.
        const RowLine* row = nullptr;
        /// One-based; only for "LineNum".
        qint64 lineNumber = 0;
        /// Only for "LineMark".
        bool isMarked = false;

        /// UTF-16 units of the line's text, without a carriage return at its end. Requires a `row`.
        int textLength() const;
        /// As above, limited to the part that the layout shows. Requires a `layout`.
        int shownLength() const { return textLength() - layout->hiddenUnits(); }
    };

    /// `lineTextWidth` returns the width available to the text of a line in the table's present columns.
    explicit LogTableViewDelegate(std::function<qreal()> lineTextWidth);

    void setDataSource(std::shared_ptr<TableRows> dataSource);
    void setFont(const QFont& font);
    /// Sets the backgrounds of lines: colours unreadable on them are shifted.
    void setGrounds(const TableGrounds& grounds);
    const TableGrounds& grounds() const { return grounds_; }
    /// Where not all rows are shown, hidden lines appear as context: with their text, muted.
    void setMap(const RowMap& map);
    void setWrapping(bool wrapping);
    bool isWrapping() const { return wrapping_; }

    const LineMetrics& metrics() const { return *metrics_; }

    /// In device-independent pixels. Without wrapping all rows have the same height.
    qreal heightOfRow(qint64 row);
    CellView viewForTableColumn(QLatin1StringView column, qint64 row);
    /// Whether the row's text is loaded; does not request it.
    bool isLoaded(qint64 row) const;

    /// Drops all heights (font, wrapping or column width changed).
    void resetRowHeights();
    /// The text of these rows, both included, may have changed: they are laid out and measured again.
    void rowsChanged(qint64 firstRow = 0, qint64 lastRow = std::numeric_limits<qint64>::max());
    /// Colours may have changed, heights have not.
    void redecorate() { layouts_.clear(); }
    /// Releases the layouts of rows outside the range.
    void keepLayouts(qint64 firstRow, qint64 lastRow);

private:
    struct Prepared {
        RowLine row;
        std::unique_ptr<LineLayout> layout;
    };

    /// The layout of the row's line; null while the line is not loaded.
    const Prepared* prepared(qint64 row);
    qreal measuredHeight(const AttributedString& line) const;
    std::optional<qreal> wrapWidth() const;

    const std::function<qreal()> lineTextWidth_;
    std::shared_ptr<TableRows> dataSource_;
    bool wrapping_ = false;
    RowMap map_;
    std::unique_ptr<LineMetrics> metrics_;
    TableGrounds grounds_;
    std::unordered_map<qint64, qreal> rowHeightCache_;
    /// Height of one unwrapped line in the current font.
    std::optional<qreal> rowHtForCurrentFont_;
    std::unordered_map<qint64, Prepared> layouts_;
};

} // namespace korvane
