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
    /// Explanation and remedy.
    QString informativeText;
    /// Button texts. Empty = one "OK".
    QStringList buttons;
    /// If set, the alert has a check box that switches it off in future; called when that was checked and the
    /// alert was not answered with its last button of several.
    std::function<void()> suppress = {};

    /// A text field.
    struct Field {
        /// Shown in the empty field.
        QString placeholder;
        bool isMasked = false;
        /// Called with the text before `done`, if the alert was answered with its first button.
        std::function<void(const QString& text)> entered;
        /// Text of a check box about the use of the answer; empty for none. Not with `suppress`.
        QString option = {};
        /// Called with its state, as `entered` is called with the text.
        std::function<void(bool isChosen)> optionChosen = {};
    };
    /// The field has the focus when the alert opens.
    std::optional<Field> field = {};
    /// The index of the button that Return presses.
    int defaultButton = 0;
};

/// The only way in which the program shows a message box. Main thread only.
class AlertPresenter {
public:
    virtual ~AlertPresenter() = default;

    /// Shows the alert over its window, or over the front one if that is closed or the id invalid, and
    /// returns at once. `done` gets the index of the button pressed; closing the box counts as the last
    /// button.
    virtual void present(const Alert& alert, WindowId window, std::function<void(int button)> done) = 0;
};

} // namespace korvane
