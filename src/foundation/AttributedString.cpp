#include "foundation/AttributedString.h"

#include "foundation/FatalError.h"

#include <algorithm>

namespace korvane {

void Attributes::set(std::string_view name, AttributeValue value) {
    const auto place =
        std::lower_bound(entries_.begin(), entries_.end(), name,
                         [](const Entry& entry, std::string_view wanted) { return entry.name < wanted; });
    if (place != entries_.end() && place->name == name)
        place->value = std::move(value);
    else
        entries_.insert(place, Entry{name, std::move(value)});
}

const AttributeValue* Attributes::value(std::string_view name) const {
    for (const Entry& entry : entries_) {
        if (entry.name == name)
            return &entry.value;
    }
    return nullptr;
}

std::optional<QColor> Attributes::color(std::string_view name) const {
    const AttributeValue* found = value(name);
    const auto* color = found ? std::get_if<QColor>(found) : nullptr;
    return color ? std::optional(*color) : std::nullopt;
}

std::optional<QFont> Attributes::font() const {
    const AttributeValue* found = value(attribute::font);
    const auto* font = found ? std::get_if<QFont>(found) : nullptr;
    return font ? std::optional(*font) : std::nullopt;
}

bool Attributes::isMarked(std::string_view name) const {
    const AttributeValue* found = value(name);
    const auto* mark = found ? std::get_if<bool>(found) : nullptr;
    return mark && *mark;
}

AttributedString::AttributedString(QString text, std::shared_ptr<const Attributes> attributes)
    : text_(std::move(text)) {
    if (!text_.isEmpty())
        runs_.push_back({{0, length()}, std::move(attributes)});
}

std::size_t AttributedString::split(TextRange range) {
    if (range.location < 0 || range.length < 0 || range.end() > length())
        fatalError("attribute range outside the text");

    std::vector<Run> pieces;
    pieces.reserve(runs_.size() + 3);
    std::size_t first = 0;
    int position = range.location;
    const auto fillTo = [&](int end) {
        if (position < end) {
            pieces.push_back({{position, end - position}, nullptr});
            position = end;
        }
    };
    bool reached = false;
    const auto reach = [&] {
        if (!reached) {
            reached = true;
            first = pieces.size();
        }
    };
    for (const Run& run : runs_) {
        if (run.range.end() <= range.location) {
            pieces.push_back(run);
            continue;
        }
        if (run.range.location < range.location)
            pieces.push_back({{run.range.location, range.location - run.range.location}, run.attributes});
        reach();
        fillTo(std::min(run.range.location, range.end()));
        const int insideStart = std::max(run.range.location, range.location);
        const int insideEnd = std::min(run.range.end(), range.end());
        if (insideStart < insideEnd) {
            pieces.push_back({{insideStart, insideEnd - insideStart}, run.attributes});
            position = insideEnd;
        }
        if (run.range.end() > range.end()) {
            const int tailStart = std::max(run.range.location, range.end());
            pieces.push_back({{tailStart, run.range.end() - tailStart}, run.attributes});
        }
    }
    reach();
    fillTo(range.end());
    runs_ = std::move(pieces);
    return first;
}

void AttributedString::addAttribute(std::string_view name, const AttributeValue& value, TextRange range) {
    addAttributes({{name, value}}, range);
}

void AttributedString::addAttributes(const std::vector<std::pair<std::string_view, AttributeValue>>& values,
                                     TextRange range) {
    if (range.length == 0)
        return;
    std::size_t index = 0;
    const bool isOneRun = runs_.size() == 1 && runs_.front().range == range;
    if (!isOneRun)
        index = split(range);
    for (; index < runs_.size() && runs_[index].range.location < range.end(); ++index) {
        auto changed = runs_[index].attributes ? std::make_shared<Attributes>(*runs_[index].attributes)
                                               : std::make_shared<Attributes>();
        for (const auto& [name, value] : values)
            changed->set(name, value);
        runs_[index].attributes = std::move(changed);
    }
}

const Attributes* AttributedString::attributesAt(int position) const {
    for (const Run& run : runs_) {
        if (position >= run.range.location && position < run.range.end())
            return run.attributes.get();
    }
    return nullptr;
}

} // namespace korvane
