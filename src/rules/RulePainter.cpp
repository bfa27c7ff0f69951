#include "rules/RulePainter.h"

#include "core/Preferences.h"

#include <algorithm>
#include <utility>

namespace korvane {
RulePainter::RulePainter() : viewBackground_(Preferences::shared().logViewBackground()) {
    for (unsigned style = 0; style < fonts_.size(); ++style) {
        fonts_[style] = Preferences::shared().logViewFont();
        if (style & bold)
            fonts_[style].setBold(true);
        if (style & italic)
            fonts_[style].setItalic(true);
    }
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
    const unsigned style =
        (rule.bold ? bold : 0U) | (rule.italic ? italic : 0U) | (rule.underline ? underline : 0U);
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
        made->set(attribute::foreground, piece.rule->foreground);
        made->set(attribute::background,
                  piece.rule->useViewBackground ? viewBackground_ : piece.rule->background);
        if (piece.bits & underline)
            made->set(attribute::underline, attribute::singleUnderline);
    }
    if (piece.bits & hideMark)
        made->set(attribute::hideLine, true);
    if (piece.bits & showMark)
        made->set(attribute::showOnlyLine, true);
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
