#pragma once

#include <QDialog>

class QMenuBar;

namespace korvane {

/// The list of all keys, by menu, made from the menus themselves; and of those that no menu has. Main thread.
class ShortcutsWindow : public QDialog {
    Q_OBJECT

public:
    ShortcutsWindow(const QMenuBar& menus, QWidget* parent);
};

} // namespace korvane
