#include "ui/window/MainToolBar.h"

#include "ui/page/LogSearch.h"
#include "ui/widgets/BusyIndicator.h"
#include "ui/widgets/Icons.h"
#include "ui/window/NavigateToolbarItem.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTimerEvent>
#include <QWidgetAction>

#include <algorithm>

namespace korvane {
namespace {

/// Position of the progress among the items; it comes last when there are fewer.
constexpr int progressPosition = 11;
constexpr int progressDelayMilliseconds = 200;
constexpr int fieldWidth = 280;

} // namespace

MainToolBar::MainToolBar(QWidget* parent) : QToolBar(tr("Tool Bar"), parent) {
    setObjectName(QStringLiteral("toolBar"));
    setMovable(false);
    setIconSize({16, 16});
    setContextMenuPolicy(Qt::PreventContextMenu);
}

void MainToolBar::addSearch() {
    auto* space = new QWidget(this);
    space->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    addWidget(space);

    searchField_ = new QLineEdit(this);
    searchField_->setObjectName(QStringLiteral("searchField"));
    searchField_->setAccessibleName(tr("Search text"));
    searchField_->setPlaceholderText(tr("Search"));
    searchField_->setToolTip(
        tr("Search (Ctrl+F). Enter goes to the next match, Shift+Enter to the previous one"));
    searchField_->setClearButtonEnabled(true);
    searchField_->setMaximumWidth(fieldWidth);
    searchField_->setMinimumWidth(fieldWidth / 2);
    searchField_->addAction(icon(QStringLiteral("search")), QLineEdit::LeadingPosition);
    searchField_->installEventFilter(this);
    connect(searchField_, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (search_)
            search_->setText(text);
    });
    // The clear button does not emit textEdited.
    connect(searchField_, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (search_ && text.isEmpty())
            search_->setText(text);
    });
    addWidget(searchField_);

    navigate_ = new NavigateToolbarItem(this);
    connect(navigate_, &NavigateToolbarItem::clicked, this, [this](bool forward) {
        if (!search_)
            return;
        search_->setSearchesForward(forward);
        if (search_->text().isEmpty())
            searchField_->setFocus();
        else
            search_->findNext();
    });
    addWidget(navigate_);

    auto* progress = new QWidgetAction(this);
    progress->setObjectName(QStringLiteral("searchProgress"));
    auto* indicator = new BusyIndicator(this);
    indicator->setToolTip(tr("Searching. Click, or press Esc in the search field, to stop"));
    indicator->setAccessibleName(tr("Stop searching"));
    connect(indicator, &BusyIndicator::clicked, this, [this] {
        if (search_)
            search_->stop();
    });
    progress->setDefaultWidget(indicator);
    searchProgress_ = progress;
    setSearch(nullptr);
}

void MainToolBar::setSearch(LogSearch* search) {
    if (search_)
        search_->disconnect(this);
    search_ = search;
    searchField_->setEnabled(search != nullptr);
    navigate_->setEnabled(search != nullptr);
    if (search) {
        connect(search, &LogSearch::textChanged, this, [this] { showSearch(); });
        connect(search, &LogSearch::directionChanged, this, [this] { showSearch(); });
        connect(search, &LogSearch::searchingChanged, this,
                [this](bool isSearching) { searchingChanged(isSearching); });
    }
    showSearch();
    searchingChanged(search && search->isSearching());
}

void MainToolBar::showSearch() {
    const QString text = search_ ? search_->text() : QString();
    if (searchField_->text() != text)
        searchField_->setText(text);
    navigate_->setForward(!search_ || search_->searchesForward());
}

void MainToolBar::editSearch(const QString& text) {
    if (!search_)
        return;
    if (!text.isEmpty())
        search_->setText(text);
    searchField_->setFocus(Qt::ShortcutFocusReason);
    searchField_->selectAll();
}

void MainToolBar::searchingChanged(bool isSearching) {
    if (isSearching) {
        if (!actions().contains(searchProgress_))
            progressTimer_.start(progressDelayMilliseconds, this);
        return;
    }
    progressTimer_.stop();
    removeAction(searchProgress_);
}

void MainToolBar::timerEvent(QTimerEvent* event) {
    if (event->timerId() != progressTimer_.timerId()) {
        QToolBar::timerEvent(event);
        return;
    }
    progressTimer_.stop();
    const QList<QAction*> items = actions();
    QAction* const before = items.value(progressPosition);
    insertAction(before, searchProgress_);
}

bool MainToolBar::eventFilter(QObject* watched, QEvent* event) {
    if (watched != searchField_ || event->type() != QEvent::KeyPress || !search_)
        return QToolBar::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    switch (key->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (key->modifiers() & Qt::ShiftModifier)
            search_->findOtherWay();
        else
            search_->findNext();
        return true;
    case Qt::Key_Escape:
        search_->stop();
        Q_EMIT searchLeft();
        return true;
    case Qt::Key_Down:
        Q_EMIT searchLeft();
        return true;
    default:
        return QToolBar::eventFilter(watched, event);
    }
}

} // namespace korvane
