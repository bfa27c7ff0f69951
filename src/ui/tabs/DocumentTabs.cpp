#include "ui/tabs/DocumentTabs.h"

#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "foundation/text/Translations.h"
#include "ui/tabs/DocumentTab.h"
#include "ui/tabs/OpenFilesList.h"
#include "ui/tabs/TabStrip.h"
#include "ui/tabs/TabTitles.h"
#include "ui/widgets/Icons.h"

#include <QLocale>
#include <QMenu>
#include <QToolButton>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

/// The folder of the file, for display.
QString placeOf(const DocumentTab& tab) {
    return tab.document() ? tab.document()->displayPlace() : displayAddress(tab.url());
}

} // namespace

DocumentTabs::DocumentTabs(QWidget* parent)
    : QTabWidget(parent), strip_(new TabStrip(this)), listButton_(new QToolButton(this)) {
    setObjectName(QStringLiteral("documents"));
    setTabBar(strip_);
    setDocumentMode(true);
    setTabsClosable(true);
    setMovable(true);
    setUsesScrollButtons(true);
    setElideMode(Qt::ElideMiddle);
    setTabBarAutoHide(true);
    // The visible strip takes the focus itself; a hidden one must not break the chain of the Tab key.
    setFocusPolicy(Qt::NoFocus);
    setFocusProxy(nullptr);
    listButton_->setAutoRaise(true);
    listButton_->setArrowType(Qt::DownArrow);
    listButton_->setFocusPolicy(Qt::NoFocus);
    listButton_->setToolTip(tr("All open files"));
    listButton_->setAccessibleName(tr("All open files"));
    setCornerWidget(listButton_);
    listButton_->hide();
    connect(listButton_, &QToolButton::clicked, this, &DocumentTabs::showList);
    connect(this, &QTabWidget::currentChanged, this, &DocumentTabs::showTabs);
    connect(strip_, &QTabBar::tabMoved, this, &DocumentTabs::tabsChanged);
    const auto close = [this](int index) { Q_EMIT closeRequested({tab(index)}); };
    connect(this, &QTabWidget::tabCloseRequested, this, close);
    connect(strip_, &TabStrip::closeClicked, this, close);
    connect(strip_, &TabStrip::menuRequested, this, &DocumentTabs::showMenu);
}

// ---- Tabs

void DocumentTabs::add(DocumentTab* tab) {
    connect(tab, &DocumentTab::changed, this, [this, tab] {
        if (tab->document())
            byDocument_.insert(tab->document().get(), tab);
        showState(*tab);
        if (tab == current())
            showTabs();
    });
    if (tab->document())
        byDocument_.insert(tab->document().get(), tab);
    holdChanges();
    // Titles are set for all tabs together: the toolkit would elide this one again for every further tab.
    addTab(tab, QString());
    releaseChanges();
}

void DocumentTabs::remove(DocumentTab* tab) {
    tab->disconnect(this);
    if (tab->document())
        byDocument_.remove(tab->document().get());
    holdChanges();
    removeTab(indexOf(tab));
    tab->deleteLater();
    releaseChanges();
}

std::vector<DocumentTab*> DocumentTabs::tabs() const {
    std::vector<DocumentTab*> all;
    all.reserve(static_cast<std::size_t>(count()));
    for (int i = 0; i < count(); ++i)
        all.push_back(tab(i));
    return all;
}

DocumentTab* DocumentTabs::tab(int index) const {
    return qobject_cast<DocumentTab*>(widget(index));
}

DocumentTab* DocumentTabs::current() const {
    return qobject_cast<DocumentTab*>(currentWidget());
}

DocumentTab* DocumentTabs::tabOf(const Document& document) const {
    return byDocument_.value(&document);
}

DocumentTab* DocumentTabs::tabOf(const QUrl& url) const {
    const QString address = absoluteString(url);
    for (int i = 0; i < count(); ++i) {
        if (tab(i)->address() == address)
            return tab(i);
    }
    return nullptr;
}

void DocumentTabs::setCurrent(DocumentTab* tab) {
    setCurrentWidget(tab);
}

QString DocumentTabs::currentTitle() const {
    return currentIndex() < 0 ? QString() : strip_->title(currentIndex());
}

void DocumentTabs::tabInserted(int index) {
    QTabWidget::tabInserted(index);
    isStale_ = true;
    listButton_->setVisible(count() > 1);
}

void DocumentTabs::tabRemoved(int index) {
    QTabWidget::tabRemoved(index);
    isStale_ = true;
    listButton_->setVisible(count() > 1);
}

void DocumentTabs::goToNext() {
    if (count() > 1)
        setCurrentIndex((currentIndex() + 1) % count());
}

void DocumentTabs::goToPrevious() {
    if (count() > 1)
        setCurrentIndex((currentIndex() + count() - 1) % count());
}

// ---- Many at once

void DocumentTabs::holdChanges() {
    if (held_++ == 0)
        strip_->setMeasuresTitles(false);
}

void DocumentTabs::releaseChanges() {
    if (--held_ > 0)
        return;
    const bool haveTabsChanged = std::exchange(isStale_, false);
    if (haveTabsChanged)
        updateTitles();
    strip_->setMeasuresTitles(true);
    showTabs();
    if (haveTabsChanged)
        Q_EMIT tabsChanged();
}

void DocumentTabs::showTabs() {
    if (held_ > 0)
        return;
    DocumentTab* const front = current();
    if (front_ && front_ != front)
        front_->setInFront(false);
    const Document* const document = front ? front->document().get() : nullptr;
    if (front_ == front && frontDocument_ == document && front)
        return;
    front_ = front;
    frontDocument_ = document;
    if (front)
        front->setInFront(true);
    Q_EMIT currentTabChanged();
}

void DocumentTabs::updateTitles() {
    QStringList names;
    QStringList paths;
    for (const DocumentTab* tab : tabs()) {
        names.append(tab->displayName());
        paths.append(tab->url().isLocalFile() ? placeOf(*tab)
                                              : u'/' + tab->url().host() + displayPath(tab->url()));
    }
    strip_->setTitles(tabTitles(names, paths));
    for (DocumentTab* tab : tabs())
        showState(*tab);
}

void DocumentTabs::showState(DocumentTab& tab) {
    const int index = indexOf(&tab);
    const qint64 count = tab.unseenLines();
    const bool isCutOff = tab.isCutOff();
    const QString bullet = isCutOff    ? QStringLiteral("bullet_red")
                           : count > 0 ? QStringLiteral("bullet_blue")
                                       : QString();
    if (strip_->tabData(index).toString() != bullet) {
        setTabIcon(index, bullet.isEmpty() ? QIcon() : icon(bullet));
        strip_->setTabData(index, bullet);
    }
    QString toolTip = placeOf(tab);
    if (count > 0)
        toolTip +=
            u'\n' +
            tr("%1 new line(s)", nullptr, translations::pluralOf(count)).arg(QLocale().toString(count));
    if (isCutOff)
        toolTip += u'\n' + tr("Not connected");
    const bool isWaiting = tab.state() == DocumentTab::State::Waiting;
    if (isWaiting)
        toolTip += u'\n' + tr("Not there: opens as soon as it can be opened");
    if (tabToolTip(index) != toolTip)
        setTabToolTip(index, toolTip);
    const QColor color = isWaiting ? palette().color(QPalette::Disabled, QPalette::WindowText) : QColor();
    if (strip_->tabTextColor(index) != color)
        strip_->setTabTextColor(index, color);
}

// ---- Menu and list

void DocumentTabs::showMenu(int index, QPoint globalPosition) {
    QPointer<DocumentTab> clicked(tab(index));
    const bool isTransient = clicked->document() && clicked->document()->isTransient();
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto add = [&](const QString& text, bool isEnabled, auto action) {
        menu->addAction(text, this,
                        [clicked, action] {
                            if (clicked)
                                action();
                        })
            ->setEnabled(isEnabled);
    };
    add(tr("&Close"), true, [this, clicked] { Q_EMIT closeRequested({clicked}); });
    add(tr("Close &Others"), count() > 1, [this, clicked] {
        auto others = tabs();
        std::erase(others, clicked);
        Q_EMIT closeRequested(others);
    });
    menu->addSeparator();
    add(tr("Copy &Path"), !isTransient, [this, clicked] { Q_EMIT copyPathRequested(clicked->url()); });
    add(tr("Open &Folder"), !isTransient && clicked->url().isLocalFile(),
        [this, clicked] { Q_EMIT openFolderRequested(clicked->url()); });
    menu->popup(globalPosition);
}

void DocumentTabs::showList() {
    if (count() == 0)
        return;
    std::vector<OpenFilesList::File> files;
    files.reserve(static_cast<std::size_t>(count()));
    for (int i = 0; i < count(); ++i)
        files.push_back({strip_->title(i), placeOf(*tab(i)), tab(i)->state() == DocumentTab::State::Waiting});
    auto* list = new OpenFilesList(files, currentIndex(), this);
    const std::vector<DocumentTab*> listed = tabs();
    // A tab may close while the list is open.
    const QList<QPointer<DocumentTab>> pointers(listed.begin(), listed.end());
    connect(list, &OpenFilesList::chosen, this, [this, pointers](int row) {
        DocumentTab* tab = pointers.value(row);
        if (!tab)
            return;
        setCurrent(tab);
        tab->setFocus();
    });
    list->showBelow(listButton_->isVisible() ? *static_cast<QWidget*>(listButton_) : *this);
}

} // namespace korvane
