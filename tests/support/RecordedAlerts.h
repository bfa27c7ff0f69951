#pragma once

#include "foundation/notices/Alerts.h"

#include <functional>
#include <vector>

namespace korvane::test {

/// Keeps what the program wanted to tell or ask; answers with the button set beforehand.
class RecordedAlerts : public AlertPresenter {
public:
    void present(const Alert& alert, WindowId, std::function<void(int)> done) override {
        alerts.push_back(alert);
        if (done)
            done(nextAnswer);
    }
    std::vector<Alert> alerts;
    int nextAnswer = 0;
};

} // namespace korvane::test
