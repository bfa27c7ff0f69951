#include "ui/logtable/LogTableColumns.h"

#include "ui/logtable/LogTableViewDelegate.h"

#include <algorithm>

namespace korvane {

LogTableColumns::LogTableColumns() : columns_{{cell::lineMark, 0}, {cell::lineNum, 0}, {cell::line, 0}} {}

int LogTableColumns::indexOf(QLatin1StringView identifier) const {
    const auto place =
        std::find_if(columns_.begin(), columns_.end(),
                     [identifier](const LogTableColumn& known) { return known.identifier == identifier; });
    return place == columns_.end() ? -1 : static_cast<int>(place - columns_.begin());
}

qreal LogTableColumns::width(QLatin1StringView identifier) const {
    const int index = indexOf(identifier);
    return index < 0 ? 0 : columns_[static_cast<std::size_t>(index)].width;
}

qreal LogTableColumns::x(QLatin1StringView identifier) const {
    qreal x = 0;
    for (const LogTableColumn& known : columns_) {
        if (known.identifier == identifier)
            break;
        x += known.width;
    }
    return x;
}

QLatin1StringView LogTableColumns::at(qreal x) const {
    qreal left = 0;
    for (const LogTableColumn& known : columns_) {
        if (known.identifier == cell::line || x < left + known.width)
            return known.identifier;
        left += known.width;
    }
    return cell::line;
}

void LogTableColumns::setWidth(QLatin1StringView identifier, qreal width) {
    if (const int index = indexOf(identifier); index >= 0)
        columns_[static_cast<std::size_t>(index)].width = width;
}

LogTableColumn LogTableColumns::take(QLatin1StringView identifier) {
    const int index = indexOf(identifier);
    const LogTableColumn taken = columns_[static_cast<std::size_t>(index)];
    columns_.erase(columns_.begin() + index);
    return taken;
}

void LogTableColumns::insert(std::size_t index, const LogTableColumn& column) {
    columns_.insert(columns_.begin() + static_cast<std::ptrdiff_t>(index), column);
}

} // namespace korvane
