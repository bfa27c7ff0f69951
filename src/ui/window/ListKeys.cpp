#include "ui/window/ListKeys.h"

#include <QAbstractItemView>
#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>

#include <algorithm>
#include <array>
#include <utility>

namespace korvane {

ListKeys::ListKeys(QAbstractItemView& list, Actions actions) : QObject(&list), actions_(std::move(actions)) {
    list.installEventFilter(this);
}

bool ListKeys::isListKey(const QKeyEvent& event) {
    constexpr std::array keys{QKeySequence::SelectAll, QKeySequence::Copy,
                              QKeySequence::MoveToStartOfDocument, QKeySequence::MoveToEndOfDocument};
    return std::any_of(keys.begin(), keys.end(), [&](auto key) { return event.matches(key); });
}

bool ListKeys::pressKey(const QKeyEvent& event) {
    // Compare the key itself: QKeySequence::Delete includes Ctrl+D on some desktops, which bookmarks the file
    // in front.
    if (event.key() == Qt::Key_Delete) {
        actions_.deleteSelected();
        return true;
    }
    if (event.matches(QKeySequence::Copy)) {
        if (const QString text = actions_.copiedText(); !text.isEmpty())
            QGuiApplication::clipboard()->setText(text);
        return true;
    }
    return false;
}

bool ListKeys::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride && isListKey(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    if (event->type() == QEvent::KeyPress && pressKey(*static_cast<QKeyEvent*>(event)))
        return true;
    return QObject::eventFilter(watched, event);
}

} // namespace korvane
