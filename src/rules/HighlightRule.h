#pragma once

#include "foundation/text/AttributedString.h"

#include <QColor>
#include <QFont>
#include <QString>

#include <vector>

namespace korvane {

/// How a rule paints, as values.
struct RuleLook {
    bool bold = true;
    bool italic = false;
    bool underline = false;
    QColor foreground = Qt::black;
    QColor background = Qt::white;
    bool useViewBackground = true;

    friend bool operator==(const RuleLook&, const RuleLook&) = default;
};

/// How a matching line is painted. A reference object, held by shared pointer; changed on the main thread
/// only.
class HighlightRule {
public:
    /// Bold, black on the log view's own background.
    HighlightRule() = default;
    /// As above for all other properties.
    HighlightRule(bool bold, bool italic, bool underline, const QColor& foreground, const QColor& background);
    virtual ~HighlightRule() = default;
    HighlightRule(const HighlightRule&) = delete;
    HighlightRule& operator=(const HighlightRule&) = delete;

    const RuleLook& look() const { return look_; }
    bool bold() const { return look_.bold; }
    void setBold(bool value) { look_.bold = value; }
    bool italic() const { return look_.italic; }
    void setItalic(bool value) { look_.italic = value; }
    bool underline() const { return look_.underline; }
    void setUnderline(bool value) { look_.underline = value; }
    const QColor& foreground() const { return look_.foreground; }
    void setForeground(const QColor& color) { look_.foreground = color; }
    const QColor& background() const { return look_.background; }
    void setBackground(const QColor& color) { look_.background = color; }
    /// Whether the line is painted with the log view's background in place of `background`.
    bool useViewBackground() const { return look_.useViewBackground; }
    void setUseViewBackground(bool value) { look_.useViewBackground = value; }

    /// Paints a line: log font and colours over all of it, the font style over `ranges` (ascending, without
    /// overlap).
    void applyHighlight(AttributedString& line, const std::vector<TextRange>& ranges) const;
    /// The colours, over the whole line.
    virtual void applyColors(AttributedString& line) const;
    /// The bold, italic and underlined form of `font`, over the ranges.
    virtual void applyFontStyle(AttributedString& line, const std::vector<TextRange>& ranges,
                                const QFont& font) const;

    /// `text` painted like a match, for lists of rules.
    AttributedString previewString(const QString& text) const;
    /// For the log only.
    QString description() const;

private:
    RuleLook look_;
};

} // namespace korvane
