#pragma once

#include "foundation/text/AttributedString.h"

#include <QColor>
#include <QPointF>
#include <QRectF>

#include <memory>
#include <optional>

class QPainter;

namespace korvane {

class LineMetrics;

/// One line of text set for the screen, in one visual line or wrapped into several. Only what is visible is
/// shaped.
///
/// Coordinates are device-independent pixels from the layout's own top left corner; positions are UTF-16 code
/// units of the line's text. Main thread; a layout lives as long as its line stays on the screen.
class LineLayout {
public:
    /// Longer lines that need shaping are cut when they wrap.
    static constexpr int longestShapedWrap = 16384;

    struct Colors {
        QColor text;
        QColor selectedText;
        QColor selectedBackground;
        /// What the row is painted with already: text with this background needs none of its own.
        std::optional<QColor> lineBackground = std::nullopt;
    };

    virtual ~LineLayout() = default;

    /// `wrapWidth`: the width to wrap at; none for a single visual line. The metrics must outlive the layout.
    static std::unique_ptr<LineLayout> make(const AttributedString& line, const LineMetrics& metrics,
                                            std::optional<qreal> wrapWidth);

    virtual int visualLineCount() const = 0;
    /// The width of the widest visual line; an estimate for a very long line that has not been shaped to its
    /// end.
    virtual qreal width() const = 0;
    /// The position nearest to a point; points outside belong to the nearest visual line.
    virtual int positionAt(QPointF point) const = 0;
    /// Where the character at a position is drawn, one visual line high.
    virtual QRectF characterRect(int position) const = 0;
    /// UTF-16 units at the end of the line that this layout does not show.
    virtual int hiddenUnits() const { return 0; }

    /// Draws what lies inside `clip` (in the painter's coordinates) with the layout's corner at `origin`.
    /// `selection`: selected text, empty for none. `isRowSelected`: the whole row is selected, so its own
    /// text colours give way.
    virtual void paint(QPainter& painter, QPointF origin, const QRectF& clip, TextRange selection,
                       bool isRowSelected, const Colors& colors) const = 0;

protected:
    LineLayout() = default;
};

} // namespace korvane
