#pragma once

#include "foundation/text/AttributedString.h"

#include <QColor>
#include <QFont>
#include <QString>

#include <vector>

namespace korvane {

/// How a matching line is painted. A reference object, held by shared pointer; changed on the main thread
/// only.
class HighlightRule {
public:
    /// Bold, black on the log view's own background.
    HighlightRule() = default;
    /// As above for what is not given.
    HighlightRule(bool bold, bool italic, bool underline, const QColor& foreground, const QColor& background);
    virtual ~HighlightRule() = default;
    HighlightRule(const HighlightRule&) = delete;
    HighlightRule& operator=(const HighlightRule&) = delete;

    bool bold() const { return bold_; }
    void setBold(bool value) { bold_ = value; }
    bool italic() const { return italic_; }
    void setItalic(bool value) { italic_ = value; }
    bool underline() const { return underline_; }
    void setUnderline(bool value) { underline_ = value; }
    const QColor& foreground() const { return foreground_; }
    void setForeground(const QColor& color) { foreground_ = color; }
    const QColor& background() const { return background_; }
    void setBackground(const QColor& color) { background_ = color; }
    /// Whether the line is painted with the log view's background in place of `background`.
    bool useViewBackground() const { return useViewBackground_; }
    void setUseViewBackground(bool value) { useViewBackground_ = value; }

    /// Paints a line: log font and colours over all of it, the font style over `ranges` (ascending, without
    /// overlap).
    void applyHighlight(AttributedString& line, const std::vector<TextRange>& ranges) const;
    /// The colours, over the whole line.
    virtual void applyColors(AttributedString& line) const;
    /// The bold, italic and underlined form of `font`, over the ranges.
    virtual void applyFontStyle(AttributedString& line, const std::vector<TextRange>& ranges,
                                const QFont& font) const;

    /// `text` painted the way the rule paints, for lists of rules.
    AttributedString previewString(const QString& text) const;
    /// For the log only.
    QString description() const;

private:
    bool bold_ = true;
    bool italic_ = false;
    bool underline_ = false;
    QColor foreground_ = Qt::black;
    QColor background_ = Qt::white;
    bool useViewBackground_ = true;
};

} // namespace korvane
