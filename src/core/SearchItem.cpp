#include "core/SearchItem.h"
namespace korvane {
std::vector<TextRange> SearchItem::matchRanges(const QString&) const {
    return {};
}
} // namespace korvane
