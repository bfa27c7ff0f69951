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

RulePainter::Values RulePainter::colors(const RuleLook& look, const QColor& viewBackground) {
    return {{attribute::foreground, look.foreground},
            {attribute::background, look.useViewBackground ? viewBackground : look.background}};
}

RulePainter::Values RulePainter::fontStyle(const RuleLook& look, const QFont& font) {
    Values values{{attribute::font, styled(font, look.bold, look.italic)}};
    if (look.underline)
        values.emplace_back(attribute::underline, attribute::singleUnderline);
    return values;
}

unsigned RulePainter::styleOf(const RuleLook& look) {
    return (look.bold ? bold : 0U) | (look.italic ? italic : 0U) | (look.underline ? underline : 0U);
}

std::size_t RulePainter::PieceHash::operator()(const Piece& piece) const {
    return (reinterpret_cast<std::size_t>(piece.rule) ^
            reinterpret_cast<std::size_t>(piece.standing.get()) >> 4) *
               31 +
           piece.bits;
}

void RulePainter::beginLine() {
    last_ = nullptr;
    marks_ = 0;
    edges_.clear();
}

void RulePainter::addMatches(const RuleValues& rule, const std::vector<TextRange>& ranges) {
    last_ = &rule;
    marks_ |= rule.hide ? hideMark : showMark;
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
    std::array<int, 3> depths{}; // how many matches here want each style
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
    auto made =
        piece.standing ? std::make_shared<Attributes>(*piece.standing) : std::make_shared<Attributes>();
    if (piece.rule) {
        made->set(attribute::font, fonts_[piece.bits & (bold | italic)]);
        for (const auto& [name, value] : colors(piece.rule->look, viewBackground_))
            made->set(name, value);
        if (piece.bits & underline)
            made->set(attribute::underline, attribute::singleUnderline);
    }
    if (piece.bits & hideMark)
        made->set(attribute::hideLine, true);
    if (piece.bits & showMark)
        made->set(attribute::showOnlyLine, true);
    if (piece.bits & givenUpMark)
        made->set(attribute::givenUpLine, true);
    known = std::move(made);
    return known;
}

void RulePainter::paint(AttributedString& line) {
    if (marks_ == 0)
        return;
    cutIntoPieces(line.length());
    line.replaceAttributes(pieces_,
                           [this](std::size_t piece, const std::shared_ptr<const Attributes>& standing) {
                               return painted({last_, styles_[piece] | marks_, standing});
                           });
}

} // namespace korvane
