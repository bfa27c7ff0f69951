#pragma once

#include <QObject>

#include <functional>

class QAbstractItemView;
class QKeyEvent;

namespace korvane {

/// Lets a list have the keys that otherwise belong to the menus of its window while it has the focus: those
/// that select all, copy, and go to the first and last row. Main thread; belongs to the list.
class ListKeys : public QObject {
public:
    struct Actions {
        /// What copying takes; empty for nothing.
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
