#pragma once

#include "support/Rows.h"

#include <QtTest>
#include <QtWidgets>

#include <functional>
#include <gtest/gtest.h>
#include <type_traits>

namespace korvane::test {

using namespace Qt::StringLiterals;

/// Finds widgets by their visible text and acts on them as the user does. Base of test fixtures.
class WindowDriver {
public:
    static bool until(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, 60000); }

    /// Gives the window the keyboard focus, as a desktop does for a new dialog and for a window whose dialog
    /// was closed.
    static bool isInFront(QWidget* window) {
        window->activateWindow();
        return until([window] { return QApplication::activeWindow() == window; });
    }

    /// The visible window of that class; null if there is none.
    template <typename Window>
    static Window* topLevel() {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* found = qobject_cast<Window*>(widget);
            if (found && found->isVisible())
                return found;
        }
        return nullptr;
    }

    /// The text without mnemonics.
    static QString plain(QString text) { return text.remove(u'&'); }

    /// The button or action with that text, or else with that accessible name; a failure if there is none.
    template <typename Kind = QAbstractButton>
    static Kind* named(const QObject* parent, const QString& name) {
        for (auto* candidate : parent->findChildren<Kind*>()) {
            if constexpr (requires { candidate->text(); }) {
                if (plain(candidate->text()) == name)
                    return candidate;
            }
            if constexpr (std::is_base_of_v<QWidget, Kind>) {
                if (candidate->accessibleName() == name)
                    return candidate;
            }
        }
        ADD_FAILURE() << "nothing is named " << name.toStdString();
        return nullptr;
    }
    static QAbstractButton* button(const QWidget* parent, const QString& text) { return named(parent, text); }
    static void click(const QWidget* parent, const QString& text) {
        QTest::mouseClick(button(parent, text), Qt::LeftButton);
    }
    /// The entry in a menu of the window.
    static QAction* action(const QWidget* widget, const QString& text) {
        return named<QAction>(widget->window(), text);
    }
    static QStringList actionTexts(const QWidget* widget) {
        QStringList texts;
        for (const auto* one : widget->window()->findChildren<QAction*>()) {
            if (one->isVisible())
                texts.append(one->text());
        }
        return texts;
    }

    /// The field of a label.
    template <typename Field = QLineEdit>
    static Field* field(const QWidget* parent, const QString& labelText) {
        for (auto* label : parent->findChildren<QLabel*>()) {
            if (!label->buddy() || plain(label->text()) != labelText)
                continue;
            if (auto* buddy = qobject_cast<Field*>(label->buddy()))
                return buddy;
            return label->buddy()->findChild<Field*>();
        }
        ADD_FAILURE() << "no field " << labelText.toStdString();
        return nullptr;
    }
    static void type(const QWidget* parent, const QString& labelText, const QString& text) {
        auto* typed = field(parent, labelText);
        typed->setFocus();
        typed->selectAll();
        QTest::keyClick(typed, Qt::Key_Delete);
        QTest::keyClicks(typed, text);
    }

    /// The texts of a model's rows from top to bottom.
    static QStringList textsOf(const QAbstractItemModel& model, const QModelIndex& parent = {},
                               int column = 0) {
        QStringList texts;
        for (int row = 0; row < model.rowCount(parent); ++row)
            texts.append(model.index(row, column, parent).data().toString());
        return texts;
    }
    /// The first index with that value, anywhere in the model.
    static QModelIndex indexOf(const QAbstractItemModel& model, const QString& value,
                               int role = Qt::DisplayRole) {
        return model.match(model.index(0, 0), role, value, 1, Qt::MatchExactly | Qt::MatchRecursive).value(0);
    }

    /// The texts of the labels that are visible when their parent is, separated by "|".
    static QString labelsOf(const QWidget* parent) {
        QStringList texts;
        for (const auto* label : parent->findChildren<QLabel*>()) {
            if (label->isVisibleTo(parent))
                texts.append(label->text());
        }
        return texts.join(u'|');
    }
    /// Whether a label has exactly that text.
    static bool says(const QWidget* parent, const QString& text) {
        return labelsOf(parent).split(u'|').contains(text);
    }
    static bool saysBeginning(const QWidget* parent, const QString& text) {
        return (u'|' + labelsOf(parent)).contains(u'|' + text);
    }
};

} // namespace korvane::test
