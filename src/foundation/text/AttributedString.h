#pragma once

#include <QColor>
#include <QFont>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

/// A range of a text: location and length in UTF-16 code units, both at least 0.
struct TextRange {
    int location = 0;
    int length = 0;

    int end() const { return location + length; }
    friend bool operator==(const TextRange&, const TextRange&) = default;
};

/// How a part of a text is painted; absent values are those of the view. A value type.
struct Attributes {
    std::optional<QFont> font{};
    std::optional<QColor> foreground{};
    std::optional<QColor> background{};
    bool underline = false;

    /// Overwrites values with those present in `added`.
    void add(const Attributes& added);

    friend bool operator==(const Attributes&, const Attributes&) = default;
};

/// A text with attributes over ranges of it. A value type; copies share their data. Not to be used by several
/// threads while one of them changes it.
class AttributedString {
public:
    struct Run {
        TextRange range;
        /// Shared between runs and lines with equal attributes; never null.
        std::shared_ptr<const Attributes> attributes;
    };

    AttributedString() = default;
    /// Without attributes.
    explicit AttributedString(QString text);
    /// With the same attributes everywhere. Lines made with the same pointer share them.
    AttributedString(QString text, std::shared_ptr<const Attributes> attributes);

    const QString& string() const { return text_; }
    int length() const { return static_cast<int>(text_.size()); }

    /// Adds to the attributes of the whole text.
    void add(const Attributes& added) { add(added, {{0, length()}}); }
    /// Adds to the attributes in ranges of the text, which are ascending and do not overlap.
    void add(const Attributes& added, const std::vector<TextRange>& ranges);

    /// Returns new attributes for a run inside the range with this index, given its present ones.
    using Change = std::function<std::shared_ptr<const Attributes>(
        std::size_t range, const std::shared_ptr<const Attributes>& present)>;
    /// Replaces the attributes in ranges of the text, which are ascending and do not overlap. Runs are split
    /// at the borders of ranges.
    void change(const std::vector<TextRange>& ranges, const Change& change);

    /// The attributes at a position; null outside the text.
    const Attributes* attributesAt(int position) const;

    /// Ascending; they cover the text without gap or overlap. Neighbours may have equal attributes.
    const std::vector<Run>& runs() const { return runs_; }

private:
    QString text_;
    std::vector<Run> runs_;
};

} // namespace korvane
