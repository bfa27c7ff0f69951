#pragma once

#include <QString>
#include <QStringList>

#include <cstddef>
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
    /// Only syntax that ICU and PCRE2 understand alike in lines of ASCII without control characters, and no
    /// match is empty.
    bool isPlainSyntax() const { return isPlainSyntax_ && !canBeEmpty(root_); }

private:
    friend class PatternParser;

    struct Node {
        enum class Kind {
            Character,  ///< itself
            OneOfSet,   ///< one character, which is not known
            Nothing,    ///< an assertion: matches no character
            Sequence,   ///< of the children
            OneOf,      ///< any of the children
            Repetition, ///< of the only child
        };
        Kind kind = Kind::Nothing;
        QChar character = {};
        /// Of a repetition.
        bool isOptional = false;
        std::vector<Node> children = {};
    };
    /// Texts of which a match contains one; none if unknown.
    static QStringList requiredBy(const Node& node);
    static QStringList requiredBySequence(const std::vector<Node>& nodes);
    static bool canBeEmpty(const Node& node);

    Node root_;
    bool isPlainSyntax_ = true;
};

} // namespace korvane
