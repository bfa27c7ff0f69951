#include "ui/logtable/TableGrounds.h"

#include "ui/widgets/Contrast.h"

#include <algorithm>

namespace korvane {
namespace {

/// Share of the selection's colour in the background of the current row, and of a selection without the
/// focus.
constexpr double currentRowShare = 0.10;
constexpr double unfocusedShare = 0.35;
/// Share of the line numbers' colour in that of the text in place of a line.
constexpr double noticeShare = 0.7;

/// Blue, as of a bookmark ribbon.
const QColor markColor(0x35, 0x84, 0xe4);

} // namespace

TableGrounds::TableGrounds(const LogTableColors& colors, const QPalette& palette, bool hasFocus)
    : colors_(colors) {
    const QColor highlight = palette.color(QPalette::Active, QPalette::Highlight);
    const QColor highlightedText = palette.color(QPalette::Active, QPalette::HighlightedText);
    currentRow_ = mixed(colors.background, highlight, currentRowShare);
    focus_ = readableOn({colors.background}, highlight);
    if (hasFocus) {
        // Shift the background and keep the text colour: a selected page in a shifted colour would look odd.
        selection_ = readableOn({highlightedText}, highlight);
        selectedText_ = highlightedText;
    } else {
        selection_ = mixed(colors.background, highlight, unfocusedShare);
        selectedText_ = readableOn({selection_}, colors.text);
    }
}

bool TableGrounds::isUnchosen(const QColor& color) const {
    return std::any_of(colors_.unchosen.begin(), colors_.unchosen.end(),
                       [rgb = color.rgb()](const QColor& known) { return known.rgb() == rgb; });
}

QColor TableGrounds::shown(const QColor& color, const QColor& ground) const {
    return isUnchosen(color) ? readable(color, ground) : color;
}

QColor TableGrounds::readable(const QColor& color, const QColor& ground) const {
    QColor& known = readable_[{color.rgb(), ground.rgb()}];
    if (!known.isValid()) // the current row has its own tint
        known = ground == colors_.background ? readableOn({ground, currentRow_}, color)
                                             : readableOn({ground}, color);
    return known;
}

QColor TableGrounds::mark(const QColor& ground) const {
    return readable(markColor, ground);
}

QColor TableGrounds::notice(const QColor& ground) const {
    return readable(mixed(colors_.background, colors_.lineNumber, noticeShare), ground);
}

AttributedString TableGrounds::shownLine(const AttributedString& line) const {
    const auto hasUnchosenText = [this](const std::shared_ptr<const Attributes>& attributes) {
        return attributes->foreground && isUnchosen(*attributes->foreground);
    };
    if (std::ranges::none_of(line.runs(), hasUnchosenText, &AttributedString::Run::attributes))
        return line;
    AttributedString shown = line;
    shown.change({{0, line.length()}}, [&](std::size_t, const auto& present) {
        if (!hasUnchosenText(present))
            return present;
        Attributes made = *present;
        made.foreground = readable(*made.foreground, made.background.value_or(colors_.background));
        return std::make_shared<const Attributes>(std::move(made));
    });
    return shown;
}

AttributedString TableGrounds::mutedLine(const AttributedString& line) const {
    AttributedString muted = line;
    muted.change({{0, line.length()}}, [&](std::size_t, const auto& present) {
        Attributes made = *present;
        made.foreground = notice(colors_.background);
        made.background.reset();
        return std::make_shared<const Attributes>(std::move(made));
    });
    return muted;
}

} // namespace korvane
