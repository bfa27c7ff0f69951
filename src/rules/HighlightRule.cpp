#include "rules/HighlightRule.h"

#include "core/Preferences.h"

namespace korvane {
namespace {

QString truth(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

} // namespace

HighlightRule::HighlightRule(bool bold, bool italic, bool underline, const QColor& foreground,
                             const QColor& background)
    : bold_(bold), italic_(italic), underline_(underline), foreground_(foreground), background_(background) {}

void HighlightRule::applyHighlight(AttributedString& line, const std::vector<TextRange>& ranges) const {
    const QFont font = Preferences::shared().logViewFont();
    line.addAttribute(attribute::font, font);
    applyColors(line);
    applyFontStyle(line, ranges, font);
}

void HighlightRule::applyColors(AttributedString& line) const {
    const QColor background = useViewBackground_ ? Preferences::shared().logViewBackground() : background_;
    line.addAttributes({{attribute::foreground, foreground_}, {attribute::background, background}},
                       {0, line.length()});
}

void HighlightRule::applyFontStyle(AttributedString& line, const std::vector<TextRange>& ranges,
                                   const QFont& font) const {
    QFont styled = font;
    if (bold_)
        styled.setBold(true);
    if (italic_)
        styled.setItalic(true);
    std::vector<std::pair<std::string_view, AttributeValue>> style{{attribute::font, styled}};
    if (underline_)
        style.emplace_back(attribute::underline, attribute::singleUnderline);
    line.addAttributesInRanges(style, ranges);
}

AttributedString HighlightRule::previewString(const QString& text) const {
    AttributedString preview(text);
    applyColors(preview);
    applyFontStyle(preview, {{0, preview.length()}}, Preferences::shared().systemFont());
    return preview;
}

QString HighlightRule::description() const {
    return QStringLiteral("Highlight: Bold? %1, Italic? %2, Underline: %3, fg color: %4, bg color: %5")
        .arg(truth(bold_), truth(italic_), truth(underline_), foreground_.name(QColor::HexArgb),
             background_.name(QColor::HexArgb));
}

} // namespace korvane
