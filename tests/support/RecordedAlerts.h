#pragma once

#include "foundation/notices/Alerts.h"

#include <QList>
#include <QStringList>

#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace korvane::test {

/// Records the program's alerts and answers them at once, later, or never.
class RecordedAlerts : public AlertPresenter {
public:
    struct Shown : Alert {
        WindowId window;
        std::function<void(int button)> done;
    };

    /// `answer`: button for answering every alert at once; without it alerts stay open.
    explicit RecordedAlerts(std::optional<int> answer = 0) : nextAnswer(answer) {}

    void present(const Alert& alert, WindowId window, std::function<void(int button)> done) override {
        alerts.push_back({alert, window, std::move(done)});
        if (!texts_.isEmpty())
            enter(static_cast<int>(alerts.size()) - 1, texts_.takeFirst(), options_.takeFirst());
        else if (nextAnswer)
            press(static_cast<int>(alerts.size()) - 1, *nextAnswer);
    }

    /// The next alert with a field gets this text and is answered with its first button.
    void willEnter(const QString& text, bool isOptionChosen = false) {
        texts_.append(text);
        options_.append(isOptionChosen);
    }
    void enter(int index, const QString& text, bool isOptionChosen = false) {
        const Shown shown = alerts[static_cast<std::size_t>(index)];
        if (shown.field && shown.field->entered)
            shown.field->entered(text);
        if (shown.field && shown.field->optionChosen)
            shown.field->optionChosen(isOptionChosen);
        press(index, 0);
    }
    void press(int index, int button) {
        if (const auto done = alerts[static_cast<std::size_t>(index)].done)
            done(button);
    }

    /// "message|informative text" of each alert.
    QStringList texts() const {
        QStringList all;
        for (const Shown& one : alerts)
            all.append(one.message + u'|' + one.informativeText);
        return all;
    }

    std::vector<Shown> alerts;
    std::optional<int> nextAnswer;

private:
    QStringList texts_;
    QList<bool> options_;
};

} // namespace korvane::test
