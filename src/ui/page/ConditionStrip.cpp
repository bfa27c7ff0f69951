#include "ui/page/ConditionStrip.h"

#include "ui/page/ShownRows.h"

#include <QAction>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QStyle>
#include <QToolBar>
#include <QToolButton>

#include <algorithm>
#include <utility>

namespace korvane {

namespace {

using LineCondition = ShownLines::Condition;

/// Characters of a text that a button shows.
constexpr qsizetype shownCharacters = 32;
constexpr int widthOfDialog = 420;

QString shortened(const QString& text) {
    return text.size() > shownCharacters ? text.left(shownCharacters) + u'…' : text;
}

QToolButton* newButton(const QString& text, const QString& toolTip) {
    auto* button = new QToolButton;
    button->setAutoRaise(true);
    button->setText(text);
    button->setToolTip(toolTip);
    return button;
}

} // namespace

ConditionStrip::ConditionStrip(ShownRows& rows, QWidget* parent)
    : QWidget(parent), rows_(rows), bar_(new QToolBar(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(6, 2, 6, 2);
    layout->addWidget(bar_);
    setAccessibleName(tr("Conditions on lines"));
    hide();
    connect(&rows_, &ShownRows::conditionsChanged, this, &ConditionStrip::makeButtons);
    connect(&rows_, &ShownRows::changed, this, &ConditionStrip::showCounts);
}

void ConditionStrip::add(Kind kind, const QString& text) {
    if (text.isEmpty()) {
        ask(kind, {}, [this, kind](const QString& answer) { add(kind, answer); });
        return;
    }
    ShownLines::Conditions changed = rows_.conditions();
    const auto same = std::ranges::find_if(changed.conditions, [&](const LineCondition& condition) {
        return condition.item.searchStr() == text;
    });
    if (same != changed.conditions.end())
        same->kind = kind;
    else
        changed.conditions.push_back({SearchItem(text), kind});
    rows_.setConditions(std::move(changed));
}

void ConditionStrip::makeButtons() {
    buttons_.clear();
    for (QAction* action : bar_->actions()) {
        bar_->removeAction(action);
        action->deleteLater(); // with its button, whose click may still be handled
    }
    const auto& [conditions, isOneEnough] = rows_.conditions();
    setVisible(!conditions.empty());
    bar_->addWidget(new QLabel(tr("Lines ")));
    for (std::size_t i = 0; i < conditions.size(); ++i)
        addButton(i);
    if (std::ranges::count(conditions, Kind::Only, &LineCondition::kind) > 1) {
        auto* combine =
            newButton(isOneEnough ? tr("Any of These") : tr("All of These"),
                      isOneEnough ? tr("Lines with one of the texts are shown; click for all of them")
                                  : tr("Lines with all of the texts are shown; click for any of them"));
        connect(combine, &QToolButton::clicked, this, [this] {
            ShownLines::Conditions changed = rows_.conditions();
            changed.isOneEnough = !changed.isOneEnough;
            rows_.setConditions(std::move(changed));
        });
        bar_->addSeparator();
        bar_->addWidget(combine);
    }
    if (!conditions.empty()) {
        auto* clear = newButton(tr("Remove All"), tr("Show the lines whatever they contain"));
        connect(clear, &QToolButton::clicked, this, [this] { rows_.setConditions({}); });
        bar_->addSeparator();
        bar_->addWidget(clear);
    }
    showCounts();
}

void ConditionStrip::addButton(std::size_t number) {
    const LineCondition& condition = rows_.conditions().conditions[number];
    auto* button = newButton({}, condition.item.searchStr());
    button->setAutoRaise(false);
    button->setPopupMode(QToolButton::InstantPopup);
    auto* menu = new QMenu(button);
    menu->addAction(tr("&Edit…"), this, [this, number] { edit(number); });
    if (condition.kind == Kind::Only)
        menu->addAction(tr("Lines &without This"), this, [this, number] { setKind(number, Kind::Without); });
    else
        menu->addAction(tr("&Only Lines with This"), this, [this, number] { setKind(number, Kind::Only); });
    menu->addAction(tr("Make a R&ule…"), this,
                    [this, text = condition.item.searchStr()] { Q_EMIT ruleRequested(text); });
    menu->addSeparator();
    menu->addAction(style()->standardIcon(QStyle::SP_TitleBarCloseButton), tr("&Remove"), this,
                    [this, number] { remove(number); });
    button->setMenu(menu);
    buttons_.append(button);
    bar_->addWidget(button);
}

void ConditionStrip::showCounts() {
    for (qsizetype i = 0; i < buttons_.size(); ++i) {
        const LineCondition& condition = rows_.conditions().conditions[static_cast<std::size_t>(i)];
        const QString count = QLocale().toString(rows_.matchCount(condition.item));
        const QString text = shortened(condition.item.searchStr()).replace(u'&', QStringLiteral("&&"));
        const QString words = condition.kind == Kind::Only ? tr("with “%1” (%2)").arg(text, count)
                                                           : tr("without “%1” (%2)").arg(text, count);
        buttons_[i]->setText(words + u' '); // the style paints its arrow close to the text
    }
}

void ConditionStrip::ask(Kind kind, const QString& text, const std::function<void(const QString&)>& take) {
    auto* dialog = new QInputDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(kind == Kind::Only ? tr("Only Lines with a Text") : tr("Lines without a Text"));
    dialog->setLabelText(kind == Kind::Only ? tr("Show only lines that contain:")
                                            : tr("Show no lines that contain:"));
    dialog->setTextValue(text);
    dialog->resize(widthOfDialog, dialog->sizeHint().height());
    connect(dialog, &QInputDialog::textValueSelected, this, [take](const QString& answer) {
        if (!answer.isEmpty())
            take(answer);
    });
    dialog->open();
}

void ConditionStrip::edit(std::size_t number) {
    const LineCondition& condition = rows_.conditions().conditions[number];
    ask(condition.kind, condition.item.searchStr(), [this, number](const QString& text) {
        ShownLines::Conditions changed = rows_.conditions();
        if (number >= changed.conditions.size())
            return;
        changed.conditions[number].item.setSearchStr(text);
        rows_.setConditions(std::move(changed));
    });
}

void ConditionStrip::setKind(std::size_t number, Kind kind) {
    ShownLines::Conditions changed = rows_.conditions();
    changed.conditions[number].kind = kind;
    rows_.setConditions(std::move(changed));
}

void ConditionStrip::remove(std::size_t number) {
    ShownLines::Conditions changed = rows_.conditions();
    changed.conditions.erase(changed.conditions.begin() + static_cast<std::ptrdiff_t>(number));
    rows_.setConditions(std::move(changed));
}

} // namespace korvane
