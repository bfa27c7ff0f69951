#include "foundation/text/AttributedString.h"

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

void AttributedString::addAttribute(std::string_view name, const AttributeValue& value, TextRange range) {
    addAttributes({{name, value}}, range);
}

void AttributedString::addAttributes(const std::vector<std::pair<std::string_view, AttributeValue>>& values,
                                     TextRange range) {
    addAttributesInRanges(values, {range});
}

void AttributedString::addAttributesInRanges(
    const std::vector<std::pair<std::string_view, AttributeValue>>& values,
    const std::vector<TextRange>& ranges) {
    std::vector<Run> pieces;
    pieces.reserve(runs_.size() + 2 * ranges.size());
    std::size_t next = 0; // the first run that ends behind `position`
    int position = 0;

    // Takes over what stands before `end`; gaps stay gaps.
    const auto keepUntil = [&](int end) {
        for (; next < runs_.size() && runs_[next].range.location < end; ++next) {
            const TextRange& run = runs_[next].range;
            const int start = std::max(run.location, position);
            const int stop = std::min(run.end(), end);
            if (start < stop)
                pieces.push_back({{start, stop - start}, runs_[next].attributes});
            if (run.end() > end)
                break;
        }
        position = end;
    };

    // Neighbouring ranges mostly lie in one run: what is made of its attributes is made once and shared.
    std::shared_ptr<const Attributes> source;
    std::shared_ptr<const Attributes> changed;
    const auto changedFrom = [&](const std::shared_ptr<const Attributes>& from) {
        if (!changed || source != from) {
            auto made = from ? std::make_shared<Attributes>(*from) : std::make_shared<Attributes>();
            for (const auto& [name, value] : values)
                made->set(name, value);
            source = from;
            changed = std::move(made);
        }
        return changed;
    };
    const auto changeUntil = [&](int end) {
        while (position < end) {
            while (next < runs_.size() && runs_[next].range.end() <= position)
                ++next;
            const Run* run = next < runs_.size() ? &runs_[next] : nullptr;
            const bool isInRun = run && run->range.location <= position;
            int stop = end;
            if (run)
                stop = std::min(end, isInRun ? run->range.end() : run->range.location);
            pieces.push_back({{position, stop - position}, changedFrom(isInRun ? run->attributes : nullptr)});
            position = stop;
        }
    };

    for (const TextRange& range : ranges) {
        if (range.location < 0 || range.length < 0 || range.end() > length())
            fatalError("attribute range outside the text");
        if (range.length == 0)
            continue;
        if (range.location < position)
            fatalError("attribute ranges overlap or descend");
        keepUntil(range.location);
        changeUntil(range.end());
    }
    keepUntil(length());
    runs_ = std::move(pieces);
}

void AttributedString::replaceAttributes(const std::vector<TextRange>& pieces, const Change& change) {
    std::vector<Run> changed;
    changed.reserve(runs_.size() + pieces.size());
    std::size_t next = 0;
    int position = 0;
    for (std::size_t piece = 0; piece < pieces.size(); ++piece) {
        if (pieces[piece].location != position || pieces[piece].end() > length())
            fatalError("attribute pieces do not cover the text");
        while (position < pieces[piece].end()) {
            while (next < runs_.size() && runs_[next].range.end() <= position)
                ++next;
            const Run* const run = next < runs_.size() ? &runs_[next] : nullptr;
            const bool isInRun = run && run->range.location <= position;
            int stop = pieces[piece].end();
            if (run)
                stop = std::min(stop, isInRun ? run->range.end() : run->range.location);
            changed.push_back(
                {{position, stop - position}, change(piece, isInRun ? run->attributes : nullptr)});
            position = stop;
        }
    }
    if (position != length())
        fatalError("attribute pieces do not cover the text");
    runs_ = std::move(changed);
}

const Attributes* AttributedString::attributesAt(int position) const {
    for (const Run& run : runs_) {
        if (position >= run.range.location && position < run.range.end())
            return run.attributes.get();
    }
    return nullptr;
}

} // namespace korvane
