#include "core/search/PatternTree.h"

#include <algorithm>
#include <utility>

namespace korvane {

/// Reads a pattern once, from the left.
class PatternParser {
public:
    using Node = PatternTree::Node;
    using Kind = Node::Kind;

    explicit PatternParser(QStringView pattern) : rest_(pattern) {}

    std::optional<PatternTree> parse() {
        PatternTree tree;
        auto root = readAlternatives(0);
        if (!root || !rest_.isEmpty())
            return std::nullopt;
        tree.root_ = std::move(*root);
        tree.isPlainSyntax_ = isPlain_;
        return tree;
    }

private:
    /// The stack holds a few frames for each level.
    static constexpr int deepestGroup = 100;

    std::optional<Node> readAlternatives(int depth) {
        if (depth > deepestGroup)
            return std::nullopt;
        Node all{.kind = Kind::OneOf};
        do {
            auto one = readSequence(depth);
            if (!one)
                return std::nullopt;
            all.children.push_back(std::move(*one));
        } while (skip(u'|'));
        return all.children.size() == 1 ? std::move(all.children.front()) : std::move(all);
    }

    std::optional<Node> readSequence(int depth) {
        Node sequence{.kind = Kind::Sequence};
        while (!rest_.isEmpty() && rest_.front() != u'|' && rest_.front() != u')') {
            auto piece = readPiece(depth);
            if (!piece || !readQuantifier(*piece))
                return std::nullopt;
            sequence.children.push_back(std::move(*piece));
        }
        return sequence;
    }

    std::optional<Node> readPiece(int depth) {
        const QChar next = take();
        switch (next.unicode()) {
        case u'\\':
            return readEscape();
        case u'[':
            return readSet();
        case u'(':
            return readGroup(depth);
        case u'.':
            return setOf(u"\r", true);
        case u'^':
            return assertion(Node::Place::LineStart);
        case u'$':
            return assertion(Node::Place::LineEnd);
        case u'?':
        case u'*':
        case u'+':
        case u'{':
        case u']':
        case u'}':
            return std::nullopt;
        default:
            // Outside ASCII, case has forms of other lengths.
            isPlain_ &= isPlainCharacter(next);
            return Node{.kind = Kind::Character, .character = next};
        }
    }

    std::optional<Node> readEscape() {
        if (rest_.isEmpty())
            return std::nullopt;
        const QChar escaped = take();
        if (QStringView(u"dDwWsS").contains(escaped)) {
            Node set{.kind = Kind::OneOfSet, .isNegated = escaped.isUpper()};
            addClass(set, escaped.toLower());
            return set;
        }
        if (QStringView(u"bB").contains(escaped))
            return assertion(escaped == u'b' ? Node::Place::WordEdge : Node::Place::NoWordEdge);
        if (QStringView(u"AzZ").contains(escaped)) {
            isPlain_ = false;
            return Node{.kind = Kind::Assertion};
        }
        if (QStringView(u"hHvVtnrfae").contains(escaped)) {
            isPlain_ = false;
            return Node{.kind = Kind::OneOfSet};
        }
        if (escaped.unicode() >= 0x80 || escaped.isLetterOrNumber())
            return std::nullopt;
        isPlain_ &= isPlainCharacter(escaped);
        return Node{.kind = Kind::Character, .character = escaped};
    }

    static Node assertion(Node::Place place) { return {.kind = Kind::Assertion, .place = place}; }

    static Node setOf(QStringView members, bool isNegated) {
        Node set{.kind = Kind::OneOfSet, .isNegated = isNegated};
        for (const QChar member : members)
            set.members.set(member.unicode());
        return set;
    }

    /// Adds `\d`, `\w` or `\s`.
    static void addClass(Node& set, QChar letter) {
        for (char16_t unit = 0; unit < 0x80; ++unit) {
            const QChar character(unit);
            const bool isMember = letter == u'd'   ? character.isDigit()
                                  : letter == u'w' ? character.isLetterOrNumber() || unit == u'_'
                                                   : unit == u' ' || (unit >= u'\t' && unit <= u'\r');
            if (isMember)
                set.members.set(unit);
        }
    }

    /// Precondition: the set's opening bracket has been read.
    std::optional<Node> readSet() {
        Node set{.kind = Kind::OneOfSet, .isNegated = skip(u'^')};
        if (rest_.startsWith(u']'))
            return std::nullopt;
        for (QChar before; !rest_.isEmpty();) {
            const QChar next = take();
            if (next == u']')
                return set;
            if (next == u'[' || (next == u'\\' && !readEscapeInSet(set)))
                return std::nullopt;
            isPlain_ &= isPlainCharacter(next) && !QStringView(u"&^{}$#").contains(next);
            if (next == u'-') {
                isPlain_ &= isRangeFrom(before);
                for (QChar member = before; isPlain_ && member < rest_.front(); ++member.unicode())
                    set.members.set(member.unicode());
            } else if (next != u'\\' && next.unicode() < 0x80) {
                set.members.set(next.unicode());
            }
            before = next == u'\\' ? QChar() : next;
        }
        return std::nullopt;
    }

    bool readEscapeInSet(Node& set) {
        if (rest_.isEmpty())
            return false;
        const QChar escaped = take();
        isPlain_ &= QStringView(u"dws.-[]\\/^$*+?(){}|:\"'").contains(escaped) && !rest_.startsWith(u'-');
        if (QStringView(u"dws").contains(escaped))
            addClass(set, escaped);
        else if (escaped.unicode() < 0x80)
            set.members.set(escaped.unicode());
        return escaped != u'Q';
    }

    /// Whether the hyphen just read is between two letters or two digits.
    bool isRangeFrom(QChar before) const {
        if (rest_.isEmpty())
            return false;
        const QChar after = rest_.front();
        const auto areBoth = [=](bool (*is)(char32_t)) {
            return is(before.unicode()) && is(after.unicode());
        };
        const bool areLetters = before.isLetter() && after.isLetter() && before.isUpper() == after.isUpper();
        return (areLetters || areBoth(&QChar::isDigit)) && before <= after &&
               !rest_.sliced(1).startsWith(u'-');
    }

    /// Precondition: the group's opening bracket has been read.
    std::optional<Node> readGroup(int depth) {
        bool isLook = false;
        if (skip(u'?') && !skip(u':')) {
            isPlain_ = false;
            const bool looksBack = skip(u'<');
            isLook = skip(u'=') || skip(u'!');
            // Groups that change how the rest is read, named ones and comments.
            if (!isLook && (looksBack || !skip(u'>')))
                return std::nullopt;
        }
        auto content = readAlternatives(depth + 1);
        if (!content || !skip(u')'))
            return std::nullopt;
        return isLook ? Node{.kind = Kind::Assertion} : std::move(content);
    }

    /// Makes the piece a repetition if a quantifier follows.
    bool readQuantifier(Node& piece) {
        Node repetition{.kind = Kind::Repetition};
        if (skip(u'?')) {
            repetition.least = 0;
            repetition.most = 1;
        } else if (skip(u'*')) {
            repetition.least = 0;
        } else if (skip(u'{')) {
            if (!readCounts(repetition))
                return false;
        } else if (!skip(u'+')) {
            return true;
        }
        isPlain_ &= !canBeEmpty(piece) && !isRepetition(piece);
        if (skip(u'+'))
            isPlain_ = false;
        else
            skip(u'?');
        repetition.children.push_back(std::move(piece));
        piece = std::move(repetition);
        return true;
    }

    bool readCounts(Node& repetition) {
        const auto least = readNumber();
        if (!least)
            return false;
        repetition.least = *least;
        repetition.most = least;
        if (skip(u',')) {
            repetition.most = std::nullopt;
            if (!rest_.startsWith(u'}')) {
                repetition.most = readNumber();
                if (!repetition.most)
                    return false;
                isPlain_ &= *repetition.most >= repetition.least;
            }
        }
        return skip(u'}');
    }

    /// The engine does not allow all numbers.
    std::optional<int> readNumber() {
        constexpr int largest = 100;
        std::optional<int> number;
        while (!rest_.isEmpty() && rest_.front() >= u'0' && rest_.front() <= u'9') {
            number = std::min(number.value_or(0) * 10 + take().digitValue(), largest + 1);
            isPlain_ &= *number <= largest;
        }
        return number;
    }

    static bool canBeEmpty(const Node& node) { return PatternTree::canBeEmpty(node); }
    static bool isRepetition(const Node& node) { return node.kind == Kind::Repetition; }
    static bool isPlainCharacter(QChar character) {
        return character.unicode() >= u' ' && character.unicode() < 0x7F;
    }

    bool skip(QChar wanted) {
        if (!rest_.startsWith(wanted))
            return false;
        take();
        return true;
    }

    QChar take() {
        const QChar first = rest_.front();
        rest_ = rest_.sliced(1);
        return first;
    }

    QStringView rest_;
    bool isPlain_ = true;
};

namespace {

qsizetype shortest(const QStringList& texts) {
    const auto least = std::ranges::min_element(texts, {}, &QString::size);
    return least == texts.end() ? 0 : least->size();
}

/// Whether searching for these is better than for the others: long texts are rare, and few are fast.
bool isBetter(const QStringList& texts, const QStringList& others) {
    if (shortest(texts) != shortest(others))
        return shortest(texts) > shortest(others);
    return texts.size() < others.size();
}

} // namespace

std::optional<PatternTree> PatternTree::parse(QStringView pattern) {
    return PatternParser(pattern).parse();
}

QStringList PatternTree::requiredTexts() const {
    return requiredBy(root_);
}

QStringList PatternTree::requiredBy(const Node& node) {
    switch (node.kind) {
    case Node::Kind::Character:
        return requiredBySequence({node});
    case Node::Kind::OneOfSet:
    case Node::Kind::Assertion:
        return {};
    case Node::Kind::Sequence:
        return requiredBySequence(node.children);
    case Node::Kind::Repetition:
        return node.least == 0 ? QStringList() : requiredBy(node.children.front());
    case Node::Kind::OneOf:
        break;
    }
    constexpr qsizetype mostTexts = 16;
    QStringList texts;
    for (const Node& child : node.children) {
        const QStringList ofChild = requiredBy(child);
        if (ofChild.isEmpty() || texts.size() + ofChild.size() > mostTexts)
            return {};
        texts += ofChild;
    }
    return texts;
}

QStringList PatternTree::requiredBySequence(const std::vector<Node>& nodes) {
    QStringList best;
    QString run;
    const auto endRun = [&] {
        if (!run.isEmpty() && isBetter({run}, best))
            best = QStringList{run};
        run.clear();
    };
    for (const Node& node : nodes) {
        if (node.kind == Node::Kind::Character && node.character.unicode() < 0x80) {
            run += node.character;
            continue;
        }
        // Nor does an assertion stand for a text between two characters.
        if (node.kind == Node::Kind::Assertion)
            continue;
        endRun();
        if (node.kind == Node::Kind::Character)
            continue;
        if (const QStringList texts = requiredBy(node); !texts.isEmpty() && isBetter(texts, best))
            best = texts;
    }
    endRun();
    return best;
}

bool PatternTree::canBeEmpty(const Node& node) {
    switch (node.kind) {
    case Node::Kind::Character:
    case Node::Kind::OneOfSet:
        return false;
    case Node::Kind::Assertion:
        return true;
    case Node::Kind::Sequence:
        return std::ranges::all_of(node.children, &canBeEmpty);
    case Node::Kind::OneOf:
        return std::ranges::any_of(node.children, &canBeEmpty);
    case Node::Kind::Repetition:
        return node.least == 0 || canBeEmpty(node.children.front());
    }
    return true;
}

} // namespace korvane
