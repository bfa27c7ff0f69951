#include "ui/widgets/AlertBoxPresenter.h"

#include "ui/widgets/AlertBox.h"

#include <QApplication>

namespace korvane {
namespace {

/// The top-level window that `window` names, or the active one.
QWidget* parentFor(const void* window) {
    for (QWidget* widget : QApplication::allWidgets()) {
        if (widget == window)
            return widget->window();
    }
    return QApplication::activeWindow();
}

} // namespace

void AlertBoxPresenter::present(const Alert& alert, const void* window,
                                std::function<void(int button)> done) {
    (new AlertBox(alert, parentFor(window), std::move(done)))->open();
}

} // namespace korvane
