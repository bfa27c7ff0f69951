#pragma once

#include "foundation/text/AttributedString.h"
#include "rules/RuleSnapshot.h"

#include <array>
#include <unordered_map>
#include <vector>

namespace korvane {

/// Collects the matches of all rules in a line, then paints it in one pass: the colours of the last rule over
/// the whole line, the styles of all over their matches. Lines that look alike share their attributes. For
/// the lines of one page; one thread.
class RulePainter {
public:
    /// Copies font and background from the preferences.
    RulePainter();

    void beginLine();
    /// `ranges`: the matches of the rule, ascending and without overlap, not empty. `rule` must outlive the
    /// painter.
    void addMatches(const RuleValues& rule, const std::vector<TextRange>& ranges);
    /// A line without matches stays as it is.
    void paint(AttributedString& line);

    // How one rule paints.

    /// The attributes of the whole line.
    static Attributes colors(const RuleLook& look, const QColor& viewBackground);
    /// The attributes of the matches.
    static Attributes fontStyle(const RuleLook& look, const QFont& font);

private:
    enum Style : unsigned { bold = 1, italic = 2, underline = 4 };

    /// Where a style begins or ends.
    struct Edge {
        int position;
        unsigned style;
        int change;
    };
    struct Piece {
        const RuleValues* rule;
        unsigned style;
        std::shared_ptr<const Attributes> present;
        friend bool operator==(const Piece&, const Piece&) = default;
    };
    struct PieceHash {
        std::size_t operator()(const Piece& piece) const;
    };

    static unsigned styleOf(const RuleLook& look);
    void cutIntoPieces(int length);
    const std::shared_ptr<const Attributes>& painted(const Piece& piece);

    /// By bold and italic.
    std::array<QFont, 4> fonts_;
    const QColor viewBackground_;
    std::unordered_map<Piece, std::shared_ptr<const Attributes>, PieceHash> made_;

    // Of the current line; members only to reuse their memory.
    const RuleValues* last_ = nullptr;
    std::vector<Edge> edges_;
    std::vector<TextRange> pieces_;
    std::vector<unsigned> styles_; // of the pieces
};

} // namespace korvane
