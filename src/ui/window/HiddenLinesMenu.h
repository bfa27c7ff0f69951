#pragma once

#include <QMenu>

namespace korvane {

/// What becomes of the lines that rules hide: the choices, one of which is checked. For all windows.
class HiddenLinesMenu : public QMenu {
    Q_OBJECT

public:
    explicit HiddenLinesMenu(QWidget* parent);

    /// Takes the next choice, and after the last one the first.
    static void chooseNext();

private:
    void showChoice();
};

} // namespace korvane
