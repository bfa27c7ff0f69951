#pragma once

#include <QString>
#include <QStringList>

#include <bitset>
#include <optional>
#include <vector>

namespace korvane {

/// The structure of a regular expression, as far as the syntax is a common one. An immutable value.
class PatternTree {
public:
    /// Nullopt when the pattern contains anything that is not understood; an invalid pattern need not be.
    static std::optional<PatternTree> parse(QStringView pattern);

    /// Texts of which every match contains at least one; empty if unknown. All are ASCII and not empty. If
    /// the expression ignores case, the texts must be searched ignoring case.
    QStringList requiredTexts() const;
    /// The nodes say everything about the matches in ASCII, as far as one of them is not empty.
    bool isPlainSyntax() const { return isPlainSyntax_ && !canBeEmpty(root_); }

    struct Node {
        enum class Kind {
            Character,  ///< itself
            OneOfSet,   ///< one character of a set
            Assertion,  ///< of the place; matches no character
            Sequence,   ///< of the children
            OneOf,      ///< any of the children
            Repetition, ///< of the only child
        };
        Kind kind = Kind::Assertion;
        QChar character = {};
        /// Those of ASCII in a set, letter case aside if the search ignores it.
        std::bitset<128> members = {};
        bool isNegated = false;
        enum class Place { LineStart, LineEnd, WordEdge, NoWordEdge };
        Place place = Place::LineStart;
        /// Of a repetition.
        int least = 1;
        std::optional<int> most = std::nullopt;
        std::vector<Node> children = {};
    };
    const Node& root() const { return root_; }

private:
    friend class PatternParser;

    /// Texts of which a match contains one; none if unknown.
    static QStringList requiredBy(const Node& node);
    static QStringList requiredBySequence(const std::vector<Node>& nodes);
    static bool canBeEmpty(const Node& node);

    Node root_;
    bool isPlainSyntax_ = true;
};

} // namespace korvane
