#pragma once

#include <QObject>

#include <functional>

class QAbstractItemView;
class QKeyEvent;

namespace korvane {

/// Gives a list with the focus the keys that otherwise trigger its window's menus: select all, copy, go to
/// the first and last row. Main thread; belongs to the list.
class ListKeys : public QObject {
public:
    struct Actions {
        /// The text to copy; empty for none.
        std::function<QString()> copiedText;
        std::function<void()> deleteSelected;
    };

    ListKeys(QAbstractItemView& list, Actions actions);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    static bool isListKey(const QKeyEvent& event);
    bool pressKey(const QKeyEvent& event);

    const Actions actions_;
};

} // namespace korvane
