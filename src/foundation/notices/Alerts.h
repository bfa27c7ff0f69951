#pragma once

#include "foundation/notices/WindowId.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace korvane {

/// A question or message for the user.
struct Alert {
    enum class Kind { Information, Warning, Error, Question };

    Kind kind = Kind::Information;
    /// One short sentence.
    QString message;
    /// What it means and what can be done.
    QString informativeText;
    /// Button texts. Empty = one "OK".
    QStringList buttons;
    /// When set, the alert carries a check box by which the user switches it off; called when that was
    /// checked and the alert was not answered with its last button of several.
    std::function<void()> suppress = {};

    /// Something for the user to type.
    struct Field {
        /// What the empty field says.
        QString placeholder;
        bool isMasked = false;
        /// Gets the text before `done` does, when the alert was answered with its first button.
        std::function<void(const QString& text)> entered;
        /// Text of a check box for what becomes of the answer; empty = there is none. Not with `suppress`.
        QString option = {};
        /// Gets its state as `entered` gets the text.
        std::function<void(bool isChosen)> optionChosen = {};
    };
    /// The field has the focus when the alert opens.
    std::optional<Field> field = {};
    /// The index of the button that Return presses.
    int defaultButton = 0;
};

/// The one way in which the program asks or tells the user something in a box of its own. Main thread only.
class AlertPresenter {
public:
    virtual ~AlertPresenter() = default;

    /// Shows the alert over the window concerned, or the front one if that is closed or the id invalid, and
    /// returns at once. `done` gets the index of the button pressed; closing the box counts as the last
    /// button.
    virtual void present(const Alert& alert, WindowId window, std::function<void(int button)> done) = 0;
};

} // namespace korvane
