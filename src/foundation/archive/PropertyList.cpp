#include "foundation/archive/PropertyList.h"

#include <algorithm>
#include <limits>

namespace korvane {

PropertyList::PropertyList(std::uint64_t value) {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        value_ = static_cast<std::int64_t>(value);
    else
        value_ = value;
}

PropertyList::PropertyList(Array value) : value_(std::make_shared<const Array>(std::move(value))) {}

PropertyList::PropertyList(Dictionary value) : value_(std::make_shared<const Dictionary>(std::move(value))) {}

const PropertyList::Array* PropertyList::array() const {
    const auto* pointer = std::get_if<std::shared_ptr<const Array>>(&value_);
    return pointer ? pointer->get() : nullptr;
}

const PropertyList::Dictionary* PropertyList::dictionary() const {
    const auto* pointer = std::get_if<std::shared_ptr<const Dictionary>>(&value_);
    return pointer ? pointer->get() : nullptr;
}

PropertyListDictionary::PropertyListDictionary(std::vector<Entry> entries) : entries_(std::move(entries)) {
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](const Entry& left, const Entry& right) { return left.first < right.first; });
}

const PropertyList* PropertyListDictionary::value(const QString& key) const {
    const auto found =
        std::lower_bound(entries_.begin(), entries_.end(), key,
                         [](const Entry& entry, const QString& wanted) { return entry.first < wanted; });
    return found != entries_.end() && found->first == key ? &found->second : nullptr;
}

bool PropertyListDictionary::hasDuplicateKeys() const {
    return std::adjacent_find(entries_.begin(), entries_.end(), [](const Entry& left, const Entry& right) {
               return left.first == right.first;
           }) != entries_.end();
}

} // namespace korvane
