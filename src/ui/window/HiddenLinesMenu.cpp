#include "ui/window/HiddenLinesMenu.h"

#include "core/Preferences.h"

#include <QActionGroup>

#include <algorithm>

namespace korvane {

namespace {

QString textOf(HiddenLines mode) {
    switch (mode) {
    case HiddenLines::AsFiltered:
        return HiddenLinesMenu::tr("As “&Filtered”");
    case HiddenLines::LeftOut:
        return HiddenLinesMenu::tr("&Left Out");
    case HiddenLines::LeftOutWith2Around:
    case HiddenLines::LeftOutWith5Around:
    case HiddenLines::LeftOutWith10Around:
        break;
    }
    return HiddenLinesMenu::tr("Left Out, with &%n Line(s) Around", nullptr, linesAround(mode));
}

} // namespace

HiddenLinesMenu::HiddenLinesMenu(QWidget* parent) : QMenu(tr("H&idden Lines"), parent) {
    auto* group = new QActionGroup(this);
    for (const HiddenLines mode : allHiddenLines) {
        QAction* action = group->addAction(addAction(textOf(mode)));
        action->setCheckable(true);
        connect(action, &QAction::triggered, this, [mode] { Preferences::shared().setHiddenLines(mode); });
    }
    connect(this, &QMenu::aboutToShow, this, &HiddenLinesMenu::showChoice);
}

void HiddenLinesMenu::showChoice() {
    const auto chosen = std::ranges::find(allHiddenLines, Preferences::shared().hiddenLines());
    actions().at(chosen - allHiddenLines.begin())->setChecked(true);
}

void HiddenLinesMenu::chooseNext() {
    const auto chosen = std::ranges::find(allHiddenLines, Preferences::shared().hiddenLines());
    const auto next = static_cast<std::size_t>(chosen - allHiddenLines.begin() + 1) % allHiddenLines.size();
    Preferences::shared().setHiddenLines(allHiddenLines[next]);
}

} // namespace korvane
