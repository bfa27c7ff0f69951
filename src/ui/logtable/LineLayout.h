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

/// The layout of one line of text, in one visual line or wrapped into several. Only the visible part is
/// shaped.
///
/// Coordinates are device-independent pixels from the layout's own top left corner; positions are UTF-16 code
/// units of the line's text. Main thread; a layout lives while its line is visible.
class LineLayout {
public:
    /// Maximum length of a wrapped line that needs shaping, in UTF-16 units; longer ones are cut.
    static constexpr int longestShapedWrap = 16384;

    struct Colors {
        QColor text;
        QColor selectedText;
        QColor selectedBackground;
        /// The row's background: text with the same background is not filled again.
        std::optional<QColor> lineBackground = std::nullopt;
    };

    virtual ~LineLayout() = default;

    /// `wrapWidth`: the width to wrap at; absent for a single visual line. The metrics must outlive the
    /// layout.
    static std::unique_ptr<LineLayout> make(const AttributedString& line, const LineMetrics& metrics,
                                            std::optional<qreal> wrapWidth);

    virtual int visualLineCount() const = 0;
    /// The width of the widest visual line; an estimate for a very long line that has not been shaped to its
    /// end.
    virtual qreal width() const = 0;
    /// The position nearest to a point; points outside map to the nearest visual line.
    virtual int positionAt(QPointF point) const = 0;
    /// The rectangle of the character at a position, one visual line high.
    virtual QRectF characterRect(int position) const = 0;
    /// UTF-16 units at the end of the line that this layout does not show.
    virtual int hiddenUnits() const { return 0; }

    /// Draws the part inside `clip` (in the painter's coordinates) with the layout's corner at `origin`.
    /// `selection`: selected text, may be empty. `isRowSelected`: the whole row is selected, so its own text
    /// colours are not used.
    virtual void paint(QPainter& painter, QPointF origin, const QRectF& clip, TextRange selection,
                       bool isRowSelected, const Colors& colors) const = 0;

protected:
    LineLayout() = default;
};

} // namespace korvane
