#pragma once

#include "foundation/notices/Alerts.h"

namespace korvane {

/// Shows alerts as boxes over the window concerned, without blocking.
class AlertBoxPresenter : public AlertPresenter {
public:
    void present(const Alert& alert, const void* window, std::function<void(int button)> done) override;
};

} // namespace korvane
