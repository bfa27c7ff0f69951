#pragma once

#include <QColor>
#include <QFont>
#include <QString>

#include <compare>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

namespace korvane {

/// A range of a text: location and length in UTF-16 code units, both at least 0.
struct TextRange {
    int location = 0;
    int length = 0;

    int end() const { return location + length; }
    friend bool operator==(const TextRange&, const TextRange&) = default;
};

/// Attribute names. A name is compared by its characters; those the system uses stand here, once.
namespace attribute {
inline constexpr std::string_view font = "Font";
inline constexpr std::string_view foreground = "ForegroundColor";
inline constexpr std::string_view background = "BackgroundColor";
inline constexpr std::string_view underline = "Underline";
inline constexpr int singleUnderline = 1;
/// Marks set over a whole line, with the value true.
inline constexpr std::string_view hideLine = "HideLine";
inline constexpr std::string_view showOnlyLine = "ShowOnlyLine";
inline constexpr std::string_view filterType = "FilterType";
/// A rule has given the line up, and whether it matches is not known.
inline constexpr std::string_view givenUpLine = "GivenUpLine";
} // namespace attribute

/// The null object (std::monostate), a boolean mark, an underline style, a colour or a font.
using AttributeValue = std::variant<std::monostate, bool, int, QColor, QFont>;

/// The attributes of one run: few, so kept as a sorted list. A value type.
class Attributes {
public:
    /// `name` must outlive the attributes: names are constants.
    void set(std::string_view name, AttributeValue value);
    /// Null when there is no attribute of that name.
    const AttributeValue* value(std::string_view name) const;

    std::optional<QColor> color(std::string_view name) const;
    std::optional<QFont> font() const;
    bool isMarked(std::string_view name) const;

    friend bool operator==(const Attributes&, const Attributes&) = default;

private:
    struct Entry {
        std::string_view name;
        AttributeValue value;
        friend bool operator==(const Entry&, const Entry&) = default;
    };
    std::vector<Entry> entries_;
};

/// A text with named attributes over ranges of it. A value type; copies share their data. Not for use from
/// several threads at once while one of them changes it.
class AttributedString {
public:
    struct Run {
        TextRange range;
        /// Shared between the runs and lines that look alike. Null = no attributes.
        std::shared_ptr<const Attributes> attributes;
    };

    AttributedString() = default;
    explicit AttributedString(QString text) : text_(std::move(text)) {}
    /// A text with one run over all of it. Lines made with the same `attributes` share them.
    AttributedString(QString text, std::shared_ptr<const Attributes> attributes);

    const QString& string() const { return text_; }
    int length() const { return static_cast<int>(text_.size()); }

    /// Sets one attribute over `range`, which must lie inside the text; an empty range changes nothing.
    void addAttribute(std::string_view name, const AttributeValue& value, TextRange range);
    void addAttribute(std::string_view name, const AttributeValue& value) {
        addAttribute(name, value, {0, length()});
    }
    /// Sets several at once, which costs one pass.
    void addAttributes(const std::vector<std::pair<std::string_view, AttributeValue>>& values,
                       TextRange range);
    /// Sets them over several ranges, ascending and without overlap, which costs one pass over all.
    void addAttributesInRanges(const std::vector<std::pair<std::string_view, AttributeValue>>& values,
                               const std::vector<TextRange>& ranges);

    /// What a piece makes of the attributes that stand in it; both may be null.
    using Change = std::function<std::shared_ptr<const Attributes>(
        std::size_t piece, const std::shared_ptr<const Attributes>& standing)>;
    /// Replaces all attributes. The pieces cover the text, ascending and without gaps; where one has several
    /// runs, each is changed by itself.
    void replaceAttributes(const std::vector<TextRange>& pieces, const Change& change);

    /// The attributes at a position; null when there are none, or the position lies outside the text.
    const Attributes* attributesAt(int position) const;

    /// Ascending, without gaps or overlaps where attributes are set; neighbours may be equal.
    const std::vector<Run>& runs() const { return runs_; }

private:
    QString text_;
    std::vector<Run> runs_;
};

} // namespace korvane
