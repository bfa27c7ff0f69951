#include "ui/widgets/WidgetIds.h"

#include <QPointer>
#include <QWidget>

#include <algorithm>
#include <vector>

namespace korvane {
namespace {

struct NamedWidget {
    WindowId id;
    QPointer<QWidget> widget;
};

std::vector<NamedWidget>& namedWidgets() {
    static std::vector<NamedWidget> all;
    return all;
}

} // namespace

WindowId idOf(QWidget* widget) {
    static std::uint64_t last = 0;
    if (!widget)
        return {};
    auto& all = namedWidgets();
    std::erase_if(all, [](const NamedWidget& named) { return !named.widget; });
    auto found = std::ranges::find(all, widget, [](const NamedWidget& named) { return named.widget.data(); });
    if (found == all.end())
        found = all.insert(all.end(), {WindowId(++last), widget});
    return found->id;
}

QWidget* widgetOf(WindowId id) {
    const auto found = std::ranges::find(namedWidgets(), id, &NamedWidget::id);
    return found == namedWidgets().end() ? nullptr : found->widget.data();
}

} // namespace korvane
