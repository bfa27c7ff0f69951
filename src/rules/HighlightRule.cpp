#include "rules/HighlightRule.h"

#include "core/Preferences.h"
#include "rules/RulePainter.h"

namespace korvane {
namespace {

QString truth(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

} // namespace

HighlightRule::HighlightRule(bool bold, bool italic, bool underline, const QColor& foreground,
                             const QColor& background)
    : look_{bold, italic, underline, foreground, background, true} {}

void HighlightRule::applyHighlight(AttributedString& line, const std::vector<TextRange>& ranges) const {
    const QFont font = Preferences::shared().logViewFont();
    line.add({.font = font});
    applyColors(line);
    applyFontStyle(line, ranges, font);
}

void HighlightRule::applyColors(AttributedString& line) const {
    line.add(RulePainter::colors(look_, Preferences::shared().logViewBackground()));
}

void HighlightRule::applyFontStyle(AttributedString& line, const std::vector<TextRange>& ranges,
                                   const QFont& font) const {
    line.add(RulePainter::fontStyle(look_, font), ranges);
}

AttributedString HighlightRule::previewString(const QString& text) const {
    AttributedString preview(text);
    applyColors(preview);
    applyFontStyle(preview, {{0, preview.length()}}, Preferences::shared().systemFont());
    return preview;
}

QString HighlightRule::description() const {
    return QStringLiteral("Highlight: Bold? %1, Italic? %2, Underline: %3, fg color: %4, bg color: %5")
        .arg(truth(look_.bold), truth(look_.italic), truth(look_.underline),
             look_.foreground.name(QColor::HexArgb), look_.background.name(QColor::HexArgb));
}

} // namespace korvane
