#pragma once

#include "foundation/text/AttributedString.h"
#include "ui/logtable/LogTableLooks.h"

#include <QPalette>

#include <map>
#include <utility>

namespace korvane {

/// The backgrounds (grounds) of the parts of the log table, and the colours that are readable on them. A
/// value type.
class TableGrounds {
public:
    TableGrounds() = default;
    /// `hasFocus`: the table has the keyboard focus; without it the selection stands out less.
    TableGrounds(const LogTableColors& colors, const QPalette& palette, bool hasFocus);

    const LogTableColors& colors() const { return colors_; }
    const QColor& currentRow() const { return currentRow_; }
    const QColor& selection() const { return selection_; }
    const QColor& selectedText() const { return selectedText_; }
    /// Colour of the focus frame.
    const QColor& focus() const { return focus_; }

    /// A colour on a ground: a default colour is shifted in lightness until it is readable.
    QColor shown(const QColor& color, const QColor& ground) const;
    /// Colours of the sign of a marked line, and of the text in place of a line.
    QColor mark(const QColor& ground) const;
    QColor notice(const QColor& ground) const;
    /// The line with its default text colours made readable on their backgrounds, whether its row is the
    /// current one or not.
    AttributedString shownLine(const AttributedString& line) const;
    /// The line as the context of others.
    AttributedString mutedLine(const AttributedString& line) const;

private:
    bool isUnchosen(const QColor& color) const;
    QColor readable(const QColor& color, const QColor& ground) const;

    LogTableColors colors_;
    QColor currentRow_;
    QColor selection_;
    QColor selectedText_;
    QColor focus_;
    /// Cache; key: text colour and ground.
    mutable std::map<std::pair<QRgb, QRgb>, QColor> readable_;
};

} // namespace korvane
