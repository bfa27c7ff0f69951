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
            return Node{.kind = Kind::OneOfSet};
        case u'^':
        case u'$':
            return Node{.kind = Kind::Nothing};
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
        if (QStringView(u"dDwWsS").contains(escaped))
            return Node{.kind = Kind::OneOfSet};
        if (QStringView(u"bB").contains(escaped))
            return Node{.kind = Kind::Nothing};
        if (QStringView(u"AzZ").contains(escaped)) {
            isPlain_ = false;
            return Node{.kind = Kind::Nothing};
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

    /// Precondition: the set's opening bracket has been read.
    std::optional<Node> readSet() {
        skip(u'^');
        if (rest_.startsWith(u']'))
            return std::nullopt;
        for (QChar before; !rest_.isEmpty();) {
            const QChar next = take();
            if (next == u']')
                return Node{.kind = Kind::OneOfSet};
            if (next == u'[' || (next == u'\\' && !readEscapeInSet()))
                return std::nullopt;
            if (next == u'-')
                isPlain_ &= isRangeFrom(before);
            isPlain_ &= isPlainCharacter(next) && !QStringView(u"&^{}$#").contains(next);
            before = next == u'\\' ? QChar() : next;
        }
        return std::nullopt;
    }

    bool readEscapeInSet() {
        if (rest_.isEmpty())
            return false;
        const QChar escaped = take();
        isPlain_ &= QStringView(u"dws.-[]\\/^$*+?(){}|:\"'").contains(escaped) && !rest_.startsWith(u'-');
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
        return isLook ? Node{.kind = Kind::Nothing} : std::move(content);
    }

    /// Makes the piece a repetition if a quantifier follows.
    bool readQuantifier(Node& piece) {
        bool isOptional = false;
        if (skip(u'?') || skip(u'*'))
            isOptional = true;
        else if (skip(u'{')) {
            const auto count = readCounts();
            if (!count)
                return false;
            isOptional = *count == 0;
        } else if (!skip(u'+'))
            return true;
        isPlain_ &= !canBeEmpty(piece) && !isRepetition(piece);
        if (skip(u'+'))
            isPlain_ = false;
        else
            skip(u'?');
        piece = Node{.kind = Kind::Repetition, .isOptional = isOptional, .children = {std::move(piece)}};
        return true;
    }

    /// The least count; the engines limit the largest one differently.
    std::optional<int> readCounts() {
        const auto least = readNumber();
        if (skip(u',') && !rest_.startsWith(u'}') && !readNumber())
            return std::nullopt;
        return skip(u'}') ? least : std::nullopt;
    }

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
    case Node::Kind::Nothing:
        return {};
    case Node::Kind::Sequence:
        return requiredBySequence(node.children);
    case Node::Kind::Repetition:
        return node.isOptional ? QStringList() : requiredBy(node.children.front());
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
        if (node.kind == Node::Kind::Nothing)
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
    case Node::Kind::Nothing:
        return true;
    case Node::Kind::Sequence:
        return std::ranges::all_of(node.children, &canBeEmpty);
    case Node::Kind::OneOf:
        return std::ranges::any_of(node.children, &canBeEmpty);
    case Node::Kind::Repetition:
        return node.isOptional || canBeEmpty(node.children.front());
    }
    return true;
}

} // namespace korvane
