#pragma once

#include "foundation/text/AttributedString.h"
#include "rules/RuleSnapshot.h"

#include <array>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace korvane {

/// Gathers what the rules make of one line, then paints it in one pass: the colours of the last rule over the
/// whole line, the styles of all over their matches. Lines that end up alike share their attributes. For the
/// lines of one page; one thread.
class RulePainter {
public:
    /// Takes font and background of the log view as they are now.
    RulePainter();

    void beginLine();
    /// `ranges`: what the rule has matched, ascending and without overlap, not empty. `rule` must outlive the
    /// painter.
    void addMatches(const RuleValues& rule, const std::vector<TextRange>& ranges);
    bool hasMatches() const { return last_ != nullptr; }
    /// Marks the line as one to hide, although no rule says so.
    void hide() { marks_ |= hideMark; }
    /// Marks the line as one of which it is not known whether a rule matches it.
    void giveUp() { marks_ |= givenUpMark; }
    bool hasGivenUp() const { return (marks_ & givenUpMark) != 0; }
    void paint(AttributedString& line);

    // The steps of which painting with one rule consists.

    using Values = std::vector<std::pair<std::string_view, AttributeValue>>;
    /// For the whole line.
    static Values colors(const RuleLook& look, const QColor& viewBackground);
    /// For the matches.
    static Values fontStyle(const RuleLook& look, const QFont& font);

private:
    enum Bits : unsigned {
        bold = 1,
        italic = 2,
        underline = 4,
        hideMark = 8,
        showMark = 16,
        givenUpMark = 32
    };

    /// Where a style begins or ends.
    struct Edge {
        int position;
        unsigned style;
        int change;
    };
    struct Piece {
        const RuleValues* rule;
        unsigned bits;
        std::shared_ptr<const Attributes> standing;
        friend bool operator==(const Piece&, const Piece&) = default;
    };
    struct PieceHash {
        std::size_t operator()(const Piece& piece) const;
    };

    static unsigned styleOf(const RuleLook& look);
    void cutIntoPieces(int length);
    const std::shared_ptr<const Attributes>& painted(const Piece& piece);

    /// By the bits bold and italic.
    std::array<QFont, 4> fonts_;
    const QColor viewBackground_;
    std::unordered_map<Piece, std::shared_ptr<const Attributes>, PieceHash> made_;

    // Of the line under way; members only so that their memory is used again.
    const RuleValues* last_ = nullptr;
    unsigned marks_ = 0;
    std::vector<Edge> edges_;
    std::vector<TextRange> pieces_;
    std::vector<unsigned> styles_; // of the pieces
};

} // namespace korvane
