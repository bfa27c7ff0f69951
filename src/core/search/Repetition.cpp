#include "core/search/Repetition.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace korvane {
namespace {

/// Common texts shorter than this cost little and are ignored.
constexpr std::size_t shortestCommon = 16;
/// Limits the number of places compared, so that long texts take little longer.
constexpr std::size_t mostPlaces = 1024;
constexpr std::uint64_t hashBase = 0x9E37'79B9'7F4A'7C15;

} // namespace

double repetitionOf(QStringView text, Qt::CaseSensitivity sensitivity) {
    const auto size = static_cast<std::size_t>(text.size());
    // The hash of the units before each place.
    std::vector<std::uint64_t> before{0};
    before.reserve(size + 1);
    for (const QChar unit : text)
        before.push_back(before.back() * hashBase +
                         (sensitivity == Qt::CaseSensitive ? unit : unit.toCaseFolded()).unicode() + 1);
    std::uint64_t power = hashBase;
    for (std::size_t length = 1; length < shortestCommon; length *= 2)
        power *= power;

    double mean = 0;
    const std::size_t distance = size / mostPlaces + 1;
    const std::size_t wholeDistances = size / distance;
    const auto places = static_cast<double>(wholeDistances);
    std::vector<std::uint64_t> pieces;
    for (std::size_t length = shortestCommon; length < size; length *= 2, power *= power) {
        pieces.clear();
        for (std::size_t i = 0; i + length <= size; i += distance)
            pieces.push_back(before[i + length] - before[i] * power);
        std::sort(pieces.begin(), pieces.end());
        double pairs = 0;
        for (auto first = pieces.begin(); first != pieces.end();) {
            const auto next = std::upper_bound(first, pieces.end(), *first);
            const auto equal = static_cast<double>(next - first);
            pairs += equal * (equal - 1);
            first = next;
        }
        if (pairs == 0)
            break;
        mean += static_cast<double>(length) * pairs / (places * places);
    }
    return mean;
}

} // namespace korvane
