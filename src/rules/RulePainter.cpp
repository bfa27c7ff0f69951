#include "rules/RulePainter.h"

#include "core/Preferences.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

QFont styled(QFont font, bool bold, bool italic) {
    if (bold)
        font.setBold(true);
    if (italic)
        font.setItalic(true);
    return font;
}

} // namespace

RulePainter::RulePainter() : viewBackground_(Preferences::shared().logViewBackground()) {
    for (unsigned style = 0; style < fonts_.size(); ++style)
        fonts_[style] = styled(Preferences::shared().logViewFont(), style & bold, style & italic);
}

Attributes RulePainter::colors(const RuleLook& look, const QColor& viewBackground) {
    return {.foreground = look.foreground,
            .background = look.useViewBackground ? viewBackground : look.background};
}

Attributes RulePainter::fontStyle(const RuleLook& look, const QFont& font) {
    return {.font = styled(font, look.bold, look.italic), .underline = look.underline};
}

unsigned RulePainter::styleOf(const RuleLook& look) {
    return (look.bold ? bold : 0U) | (look.italic ? italic : 0U) | (look.underline ? underline : 0U);
}

std::size_t RulePainter::PieceHash::operator()(const Piece& piece) const {
    return (reinterpret_cast<std::size_t>(piece.rule) ^
            reinterpret_cast<std::size_t>(piece.present.get()) >> 4) *
               31 +
           piece.style;
}

void RulePainter::beginLine() {
    last_ = nullptr;
    edges_.clear();
}

void RulePainter::addMatches(const RuleValues& rule, const std::vector<TextRange>& ranges) {
    last_ = &rule;
    const unsigned style = styleOf(rule.look);
    if (style == 0)
        return;
    for (const TextRange& range : ranges) {
        edges_.push_back({range.location, style, 1});
        edges_.push_back({range.end(), style, -1});
    }
}

void RulePainter::cutIntoPieces(int length) {
    pieces_.clear();
    styles_.clear();
    std::stable_sort(edges_.begin(), edges_.end(),
                     [](const Edge& one, const Edge& other) { return one.position < other.position; });
    std::array<int, 3> depths{}; // number of open matches with each style
    unsigned style = 0;
    int position = 0;
    const auto endPiece = [&](int end) {
        if (end == position)
            return;
        if (!styles_.empty() && styles_.back() == style) {
            pieces_.back().length += end - position;
        } else {
            pieces_.push_back({position, end - position});
            styles_.push_back(style);
        }
        position = end;
    };
    for (const Edge& edge : edges_) {
        endPiece(edge.position);
        for (unsigned bit = 0; bit < depths.size(); ++bit) {
            if (!(edge.style & 1U << bit))
                continue;
            depths[bit] += edge.change;
            style = depths[bit] > 0 ? style | 1U << bit : style & ~(1U << bit);
        }
    }
    endPiece(length);
}

const std::shared_ptr<const Attributes>& RulePainter::painted(const Piece& piece) {
    std::shared_ptr<const Attributes>& known = made_[piece];
    if (known)
        return known;
    Attributes made = *piece.present;
    made.add(colors(piece.rule->look, viewBackground_));
    made.font = fonts_[piece.style & (bold | italic)];
    made.underline |= (piece.style & underline) != 0;
    known = std::make_shared<const Attributes>(std::move(made));
    return known;
}

void RulePainter::paint(AttributedString& line) {
    if (!last_)
        return;
    cutIntoPieces(line.length());
    line.change(pieces_, [this](std::size_t piece, const std::shared_ptr<const Attributes>& present) {
        return painted({last_, styles_[piece], present});
    });
}

} // namespace korvane
