#include "ui/window/MainToolBar.h"

#include "foundation/text/Translations.h"
#include "ui/page/LogSearch.h"
#include "ui/widgets/BusyIndicator.h"
#include "ui/widgets/Icons.h"
#include "ui/window/NavigateToolbarItem.h"

#include <QAction>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QPainter>
#include <QTimerEvent>
#include <QWidgetAction>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

/// Position of the progress among the items; it comes last when there are fewer.
constexpr int progressPosition = 11;
constexpr int progressDelayMilliseconds = 200;
constexpr int fieldWidth = 340;
constexpr qsizetype mostHistory = 20;

/// A switch in the field: its glyph, framed and coloured while it is on.
QIcon switchIcon(const QString& glyph, bool isOn, const QPalette& palette) {
    constexpr int size = 16;
    constexpr int scale = 3;
    QPixmap pixmap(size * scale, size * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isOn) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(palette.color(QPalette::Highlight));
        painter.drawRoundedRect(QRectF(0, 0, size, size), 3, 3);
    }
    QFont font = painter.font();
    font.setPixelSize(glyph.size() > 2 ? 9 : 11);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(palette.color(isOn ? QPalette::HighlightedText : QPalette::PlaceholderText));
    painter.drawText(QRectF(0, 0, size, size), Qt::AlignCenter, glyph);
    return pixmap;
}

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
    searchField_->setToolTip(tr(
        "Search (Ctrl+F). Enter goes to the next match, Shift+Enter to the previous one, Up shows the last "
        "searches"));
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
    // The field shows the last one first.
    addSwitch(tr("&Regular Expression"), tr("The text is a regular expression"), &SearchSwitches::isPattern);
    addSwitch(tr("&Whole Words"), tr("Only whole words match"), &SearchSwitches::wholeWords);
    addSwitch(tr("Match &Case"), tr("Capitals and small letters differ"), &SearchSwitches::matchesCase);
    showSwitches();

    count_ = new QLabel(this);
    count_->setObjectName(QStringLiteral("searchCount"));
    count_->setContentsMargins(4, 0, 4, 0);
    count_->setToolTip(tr("Lines with a match"));
    countItem_ = addWidget(count_);
    countItem_->setVisible(false);

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
        connect(search, &LogSearch::searched, this, &MainToolBar::remember);
        connect(search, &LogSearch::countChanged, this, [this] { showCount(); });
    }
    showSearch();
    searchingChanged(search && search->isSearching());
}

void MainToolBar::showSearch() {
    const QString text = search_ ? search_->text() : QString();
    if (searchField_->text() != text)
        searchField_->setText(text);
    navigate_->setForward(!search_ || search_->searchesForward());
    showSwitches();
    showCount();
}

void MainToolBar::addSwitch(const QString& text, const QString& toolTip, bool SearchSwitches::*value) {
    auto* action = searchField_->addAction(QIcon(), QLineEdit::TrailingPosition);
    action->setText(text);
    action->setToolTip(toolTip);
    action->setCheckable(true);
    switches_.prepend(action);
    connect(action, &QAction::triggered, this, [this, value](bool isOn) {
        if (!search_)
            return;
        // NOLINTNEXTLINE(misc-const-correctness): changed by the next line
        SearchSwitches switches = search_->switches();
        switches.*value = isOn;
        search_->setSwitches(switches);
    });
}

void MainToolBar::showSwitches() {
    const SearchSwitches switches = search_ ? search_->switches() : SearchSwitches();
    const bool areOn[] = {switches.matchesCase, switches.wholeWords, switches.isPattern};
    const QString glyphs[] = {QStringLiteral("Aa"), QStringLiteral("[w]"), QStringLiteral(".*")};
    for (qsizetype i = 0; i < switches_.size(); ++i) {
        switches_[i]->setChecked(areOn[i]);
        switches_[i]->setEnabled(search_ != nullptr);
        switches_[i]->setIcon(switchIcon(glyphs[i], areOn[i], palette()));
    }
}

void MainToolBar::showCount() {
    const auto count = search_ ? search_->count() : std::nullopt;
    countItem_->setVisible(count.has_value());
    if (!count)
        return;
    const QString total = QLocale().toString(count->total);
    if (count->place)
        count_->setText(tr("%1 of %2").arg(QLocale().toString(*count->place), total));
    else if (count->isComplete)
        count_->setText(tr("%1 line(s)", nullptr, translations::pluralOf(count->total)).arg(total));
    else
        count_->setText(tr("%1 so far").arg(total));
}

void MainToolBar::remember(const QString& text) {
    history_.removeAll(text);
    history_.prepend(text);
    history_.resize(std::min(history_.size(), mostHistory));
}

void MainToolBar::showHistory() {
    if (history_.isEmpty())
        return;
    auto* menu = new QMenu(searchField_);
    menu->setObjectName(QStringLiteral("searchHistory"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const QString& text : std::as_const(history_)) {
        const QString shown = menu->fontMetrics().elidedText(text, Qt::ElideMiddle, 2 * fieldWidth);
        menu->addAction(QString(shown).replace(u'&', QStringLiteral("&&")), this, [this, text] {
            if (search_)
                search_->setText(text);
        });
    }
    menu->popup(searchField_->mapToGlobal(QPoint(0, searchField_->height())));
}

void MainToolBar::changeEvent(QEvent* event) {
    QToolBar::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && searchField_)
        showSwitches();
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
    case Qt::Key_Up:
        showHistory();
        return true;
    case Qt::Key_Down:
        Q_EMIT searchLeft();
        return true;
    default:
        return QToolBar::eventFilter(watched, event);
    }
}

} // namespace korvane
