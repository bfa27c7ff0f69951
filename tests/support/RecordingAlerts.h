#pragma once

#include "foundation/notices/Alerts.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <utility>
#include <vector>

namespace korvane::test {

/// Writes down all alerts, and answers them as the test has laid down, or later, or never.
class RecordingAlerts : public AlertPresenter {
public:
    struct Shown {
        Alert alert;
        WindowId window;
        std::function<void(int button)> done;
    };

    void present(const Alert& alert, WindowId window, std::function<void(int button)> done) override {
        shown_.push_back({alert, window, std::move(done)});
        if (answers_.isEmpty())
            return;
        const QString answer = answers_.takeFirst();
        enter(static_cast<int>(shown_.size()) - 1, answer);
    }

    /// The next alert with a field gets the text and is answered with its first button.
    void willEnter(const QString& text) { answers_.append(text); }
    void enter(int index, const QString& text, bool isOptionChosen = false) {
        const Shown shown = shown_[static_cast<std::size_t>(index)];
        if (shown.alert.field && shown.alert.field->entered)
            shown.alert.field->entered(text);
        if (shown.alert.field && shown.alert.field->optionChosen)
            shown.alert.field->optionChosen(isOptionChosen);
        shown.done(0);
    }
    void press(int index, int button) {
        const Shown shown = shown_[static_cast<std::size_t>(index)];
        shown.done(button);
    }

    const std::vector<Shown>& shown() const { return shown_; }
    /// "message|informative text" of each.
    QStringList texts() const {
        QStringList all;
        for (const Shown& one : shown_)
            all.append(one.alert.message + u'|' + one.alert.informativeText);
        return all;
    }

private:
    std::vector<Shown> shown_;
    QStringList answers_;
};

} // namespace korvane::test
