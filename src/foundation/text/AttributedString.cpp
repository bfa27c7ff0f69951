#include "foundation/text/AttributedString.h"

#include "foundation/FatalError.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

const std::shared_ptr<const Attributes>& noAttributes() {
    static const auto none = std::make_shared<const Attributes>();
    return none;
}

} // namespace

void Attributes::add(const Attributes& added) {
    if (added.font)
        font = added.font;
    if (added.foreground)
        foreground = added.foreground;
    if (added.background)
        background = added.background;
    underline |= added.underline;
}

AttributedString::AttributedString(QString text) : AttributedString(std::move(text), noAttributes()) {}

AttributedString::AttributedString(QString text, std::shared_ptr<const Attributes> attributes)
    : text_(std::move(text)) {
    if (!text_.isEmpty())
        runs_.push_back({{0, length()}, std::move(attributes)});
}

void AttributedString::add(const Attributes& added, const std::vector<TextRange>& ranges) {
    // Neighbouring ranges mostly lie in one run, so its new attributes are made once and shared.
    std::shared_ptr<const Attributes> source;
    std::shared_ptr<const Attributes> made;
    change(ranges, [&](std::size_t, const std::shared_ptr<const Attributes>& present) {
        if (present != source) {
            Attributes sum = *present;
            sum.add(added);
            source = present;
            made = std::make_shared<const Attributes>(std::move(sum));
        }
        return made;
    });
}

void AttributedString::change(const std::vector<TextRange>& ranges, const Change& change) {
    std::vector<Run> changed;
    changed.reserve(runs_.size() + 2 * ranges.size());
    auto run = runs_.cbegin();
    int position = 0;
    const auto goTo = [&](int end, auto attributesFrom) {
        while (position < end) {
            const int stop = std::min(end, run->range.end());
            changed.push_back({{position, stop - position}, attributesFrom(run->attributes)});
            position = stop;
            if (stop == run->range.end())
                ++run;
        }
    };
    const auto keep = [](const std::shared_ptr<const Attributes>& present) { return present; };
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        const TextRange& range = ranges[i];
        if (range.location < position || range.length < 0 || range.end() > length())
            fatalError("attribute ranges must ascend inside the text");
        if (range.length == 0)
            continue;
        goTo(range.location, keep);
        goTo(range.end(), [&](const auto& present) { return change(i, present); });
    }
    goTo(length(), keep);
    runs_ = std::move(changed);
}

const Attributes* AttributedString::attributesAt(int position) const {
    const auto run = std::ranges::find_if(runs_, [&](const Run& candidate) {
        return candidate.range.location <= position && position < candidate.range.end();
    });
    return run != runs_.end() ? run->attributes.get() : nullptr;
}

} // namespace korvane
