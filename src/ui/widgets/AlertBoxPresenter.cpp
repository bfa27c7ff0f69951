#include "ui/widgets/AlertBoxPresenter.h"

#include "ui/widgets/AlertBox.h"
#include "ui/widgets/WidgetIds.h"

#include <QApplication>

namespace korvane {

void AlertBoxPresenter::present(const Alert& alert, WindowId window, std::function<void(int button)> done) {
    QWidget* parent = widgetOf(window);
    if (parent)
        parent = parent->window();
    else
        parent = QApplication::activeWindow();
    if (!parent)
        parent = frontWindow_();
    (new AlertBox(alert, parent, std::move(done)))->open();
}

} // namespace korvane
