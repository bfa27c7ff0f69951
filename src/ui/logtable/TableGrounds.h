#pragma once

#include "foundation/text/AttributedString.h"
#include "ui/logtable/LogTableLooks.h"

#include <QPalette>

#include <map>
#include <utility>

namespace korvane {

/// What the parts of the log table are painted on, and the colours that can be read there. A value type.
class TableGrounds {
public:
    TableGrounds() = default;
    /// `hasFocus`: keys go to the table; its selection stands out less while they do not.
    TableGrounds(const LogTableColors& colors, const QPalette& palette, bool hasFocus);

    const LogTableColors& colors() const { return colors_; }
    const QColor& currentRow() const { return currentRow_; }
    const QColor& selection() const { return selection_; }
    const QColor& selectedText() const { return selectedText_; }
    /// Of the lines that show where keys go.
    const QColor& focus() const { return focus_; }

    /// A colour on a ground: shifted in lightness when nobody chose it.
    QColor shown(const QColor& color, const QColor& ground) const;
    /// Of the sign of a marked line, and of what stands in the place of a line.
    QColor mark(const QColor& ground) const;
    QColor notice(const QColor& ground) const;
    /// The line with the text colours that nobody chose as they can be read on their backgrounds, whether its
    /// row is the current one or not.
    AttributedString shownLine(const AttributedString& line) const;

private:
    bool isUnchosen(const QColor& color) const;
    QColor readable(const QColor& color, const QColor& ground) const;

    LogTableColors colors_;
    QColor currentRow_;
    QColor selection_;
    QColor selectedText_;
    QColor focus_;
    /// By text and ground.
    mutable std::map<std::pair<QRgb, QRgb>, QColor> readable_;
};

} // namespace korvane
