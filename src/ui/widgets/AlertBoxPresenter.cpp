#include "ui/widgets/AlertBoxPresenter.h"

#include "ui/widgets/AlertBox.h"

#include <QApplication>

namespace korvane {
namespace {

/// The top-level window that `window` names, or null.
QWidget* namedWindow(const void* window) {
    for (QWidget* widget : QApplication::allWidgets()) {
        if (widget == window)
            return widget->window();
    }
    return nullptr;
}

} // namespace

void AlertBoxPresenter::present(const Alert& alert, const void* window,
                                std::function<void(int button)> done) {
    QWidget* parent = window ? namedWindow(window) : nullptr;
    if (!parent)
        parent = QApplication::activeWindow();
    if (!parent)
        parent = frontWindow_();
    (new AlertBox(alert, parent, std::move(done)))->open();
}

} // namespace korvane
