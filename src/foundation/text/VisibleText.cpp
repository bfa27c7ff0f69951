#include "foundation/text/VisibleText.h"

#include <algorithm>

namespace korvane {
namespace {

bool isDirectionControl(char16_t unit) {
    return (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069) || unit == 0x200E ||
           unit == 0x200F || unit == 0x061C;
}

bool needsPicture(char16_t unit) {
    return (unit < 0x20 && unit != u'\t') || (unit >= 0x7F && unit < 0xA0) || unit == 0x2028 ||
           unit == 0x2029 || isDirectionControl(unit);
}

char16_t pictureOf(char16_t unit) {
    if (unit < 0x20)
        return static_cast<char16_t>(0x2400 + unit);
    if (unit == 0x7F)
        return 0x2421;
    return 0x25AF; // an empty box for characters without a symbol
}

} // namespace

QString visibleText(const QString& text) {
    QString visible = text;
    if (visible.endsWith(u'\r'))
        visible.chop(1);
    const auto* units = reinterpret_cast<const char16_t*>(visible.utf16());
    const bool hasControls = std::any_of(units, units + visible.size(), needsPicture);
    if (hasControls) {
        for (QChar& unit : visible) {
            if (needsPicture(unit.unicode()))
                unit = QChar(pictureOf(unit.unicode()));
        }
    }
    return visible;
}

} // namespace korvane
