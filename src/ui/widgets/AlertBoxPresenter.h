#pragma once

#include "foundation/notices/Alerts.h"

#include <functional>

class QWidget;

namespace korvane {

/// Shows alerts as boxes over the window concerned, without blocking.
class AlertBoxPresenter : public AlertPresenter {
public:
    /// `frontWindow`: the window for alerts whose own is closed or invalid, while no window of the program
    /// is active; may give null.
    explicit AlertBoxPresenter(std::function<QWidget*()> frontWindow = [] { return nullptr; })
        : frontWindow_(std::move(frontWindow)) {}

    void present(const Alert& alert, WindowId window, std::function<void(int button)> done) override;

private:
    const std::function<QWidget*()> frontWindow_;
};

} // namespace korvane
