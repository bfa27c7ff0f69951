#pragma once

#include <QDialog>

class QMenuBar;

namespace korvane {

/// The list of all keyboard shortcuts, by menu and taken from the menus, and of those in no menu. Main
/// thread.
class ShortcutsWindow : public QDialog {
    Q_OBJECT

public:
    ShortcutsWindow(const QMenuBar& menus, QWidget* parent);
};

} // namespace korvane
