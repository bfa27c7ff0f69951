#include "ui/window/WindowManager.h"

#include "core/Preferences.h"
#include "documents/Document.h"
#include "documents/RecentFiles.h"
#include "foundation/FilePath.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"
#include "ui/rules/FilterRulesEditor.h"
#include "ui/tabs/DocumentTab.h"
#include "ui/tabs/DocumentTabs.h"
#include "ui/window/MainWindow.h"
#include "ui/window/PreferencesWindow.h"
#include "ui/window/WelcomeWindow.h"

#include <QApplication>
#include <QScopedValueRollback>

#include <algorithm>
#include <ranges>
#include <utility>

namespace korvane {
namespace {

/// Offset of a further window from the previous one, so that it does not hide it.
constexpr QPoint windowOffset(32, 32);

QUrl urlOf(const QString& address) {
    return QUrl::fromEncoded(address.toUtf8(), QUrl::StrictMode);
}

} // namespace

WindowManager::WindowManager(AlertPresenter& alerts)
    : alerts_(alerts), session_([this] { return currentSession(); }),
      opener_([this](DocumentTab& tab) { openTab(tab); }) {}

WindowManager::~WindowManager() {
    for (MainWindow* window : std::exchange(windows_, {}))
        delete window;
}

MainWindow& WindowManager::addWindow() {
    if (!storeFaults_) {
        // The stores are loaded with the first window, not when the manager is constructed.
        storeFaults_.emplace(*documents_, [this](const QString& faults) {
            MainWindowController* const page = frontPage();
            if (page)
                page->showStoreFault(faults);
            return page != nullptr;
        });
    }
    auto* window = new MainWindow(*documents_, alerts_);
    if (!windows_.empty()) {
        const QRect before = windows_.back()->geometry();
        window->setGeometry(before.translated(windowOffset));
    }
    windows_.push_back(window);
    connectWindow(*window);
    for (int i = 0; i < changes_; ++i)
        window->tabs().holdChanges();
    return *window;
}

void WindowManager::connectWindow(MainWindow& made) {
    MainWindow* window = &made;
    QObject::connect(window, &MainWindow::aboutToClose, window,
                     [this, window] { windowAboutToClose(*window); });
    QObject::connect(window, &MainWindow::preferencesRequested, window, [this] { showPreferences(); });
    QObject::connect(window, &MainWindow::remoteHostsRequested, window, [this] { showRemoteHosts(); });
    QObject::connect(window, &MainWindow::quitRequested, window, [this] { quit(); });
    QObject::connect(window, &MainWindow::closeAllRequested, window, [this] { closeAllTabs(); });
    QObject::connect(window, &MainWindow::lastTabClosed, window, [this, window] { closeIfEmpty(*window); });
    QObject::connect(window, &MainWindow::activated, window, [this, window] {
        if (std::erase(windows_, window) > 0)
            windows_.push_back(window);
        showPageInRulesEditor(*window);
        session_.placesChanged();
    });
    QObject::connect(window, &MainWindow::rulesEditorRequested, window,
                     [this, window](const QString& newRuleText) { editRules(*window, newRuleText); });
    QObject::connect(window, &MainWindow::currentPageChanged, window,
                     [this, window] { showPageInRulesEditor(*window); });
    QObject::connect(window, &MainWindow::unreadTabShown, window,
                     [this](DocumentTab* tab) { openTab(*tab); });
    QObject::connect(window, &MainWindow::tabsChanged, window, [this] { session_.tabsChanged(); });
    QObject::connect(window, &MainWindow::placeChanged, window, [this] { session_.placesChanged(); });
    QObject::connect(window, &MainWindow::pageMade, window, [this](MainWindowController* page) {
        QObject::connect(page, &MainWindowController::loadCancelled, page, [this, page] {
            // After the button's click has been handled.
            QMetaObject::invokeMethod(
                page, [this, page] { documents_->closeDocument(page->document()); }, Qt::QueuedConnection);
        });
        if (pageMade_)
            pageMade_(*page);
    });
}

void WindowManager::windowAboutToClose(MainWindow& window) {
    // The session consists of the documents of the last window.
    if (windows_.size() == 1)
        session_.saveNow();
    if (std::erase(windows_, &window) == 0)
        return;
    if (!windows_.empty()) {
        session_.saveNow();
        return;
    }
    if (rulesEditor_)
        rulesEditor_->close();
    if (preferences_)
        preferences_->close();
    if (remoteHosts_)
        remoteHosts_->close();
    if (!isQuitting_ && Preferences::shared().showWelcomeWinOnStart())
        showWelcome();
}

MainWindow& WindowManager::windowForNewTab() {
    for (MainWindow* window : std::views::reverse(windows_)) {
        if (Preferences::shared().useTabs() || window->tabs().count() == 0)
            return *window;
    }
    return addWindow();
}

void WindowManager::changesBegin() {
    ++changes_;
    for (MainWindow* window : windows_)
        window->tabs().holdChanges();
}

void WindowManager::changesEnd(const std::shared_ptr<Document>& front) {
    --changes_;
    QPointer<DocumentTab> tab = std::exchange(nextFront_, nullptr);
    if (front)
        tab = tabOf(*front);
    // Before pages are made: of the new tabs only this one needs its page.
    if (tab)
        static_cast<MainWindow*>(tab->window())->tabs().setCurrent(tab);
    for (MainWindow* window : std::vector(windows_))
        window->tabs().releaseChanges();
    if (const QList<QUrl> opened = std::exchange(opened_, {}); !opened.isEmpty())
        RecentFiles::add(opened);
    for (MainWindow* window : windows_) {
        if (window->tabs().count() > 0)
            window->show();
    }
    if (tab)
        static_cast<MainWindow*>(tab->window())->raiseTab(tab);
    if (welcome_ && !windows_.empty() && windows_.back()->isVisible())
        welcome_->hide();
    if (remoteHosts_)
        remoteHosts_->refreshStates();
}

void WindowManager::makeWindow(const std::shared_ptr<Document>& document) {
    DocumentTab* tab = tabOf(document->fileUrl());
    if (!tab)
        tab = windowForNewTab().addTab(document->fileUrl());
    tab->setDocument(document);
    if (keepsState_ && !isReopening_ && !document->isTransient() && document->fileUrl().isLocalFile())
        opened_.append(document->fileUrl());
}

void WindowManager::waitForFile(const QUrl& url, std::optional<qint64> lineNumber, const QString& reason) {
    DocumentTab* tab = tabOf(url);
    if (!tab)
        tab = windowForNewTab().addTab(url);
    if (lineNumber)
        tab->goToLine(*lineNumber);
    tab->setWaiting(reason);
    opener_.watch(*tab);
    nextFront_ = tab;
}

void WindowManager::openTab(DocumentTab& tab) {
    const QScopedValueRollback reopening(isReopening_, true);
    const auto opened = documents_->reopenDocument(tab.url(), tab.isInFront());
    if (opened)
        return;
    tab.setWaiting(opened.error().userText);
    opener_.watch(tab);
}

void WindowManager::closeWindow(const std::shared_ptr<Document>& document) {
    for (MainWindow* window : std::vector(windows_)) {
        DocumentTab* tab = window->tabs().tabOf(*document);
        if (!tab)
            continue;
        window->tabs().remove(tab);
        if (remoteHosts_)
            remoteHosts_->refreshStates();
        closeIfEmpty(*window);
    }
}

void WindowManager::closeIfEmpty(MainWindow& window) {
    // If the welcome window is off, the last window stays, empty, so that another file can be opened in it.
    if (std::ranges::find(windows_, &window) != windows_.end() && window.tabs().count() == 0 &&
        (windows_.size() > 1 || Preferences::shared().showWelcomeWinOnStart()))
        window.close();
}

void WindowManager::closeAllTabs() {
    const DocumentBatch batch(*documents_);
    for (MainWindow* window : std::vector(windows_))
        window->closeTabs(window->tabs().tabs());
}

void WindowManager::goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) {
    if (DocumentTab* tab = tabOf(*document))
        tab->goToLine(lineNumber);
}

// ---- Session

void WindowManager::setKeepsState() {
    keepsState_ = true;
    session_.start();
}

Session WindowManager::currentSession() const {
    // The session was saved when the last window closed.
    if (windows_.empty())
        return Session::load();
    Session session;
    for (const MainWindow* window : windows_) {
        Session::Window stored;
        for (const DocumentTab* tab : window->tabs().tabs()) {
            if (tab->document() && tab->document()->isTransient())
                continue;
            const auto place = tab->place();
            // At the end of a growing file the top line changes all the time and is not needed.
            stored.entries.push_back({tab->address(), place.isAtEnd ? 1 : place.topLine, place.isAtEnd});
            if (tab == window->tabs().current())
                stored.current = tab->address();
        }
        if (stored.entries.empty())
            continue;
        stored.geometry = window->saveGeometry();
        session.windows.push_back(std::move(stored));
    }
    return session;
}

void WindowManager::restoreSession(Reading reading) {
    const DocumentBatch batch(*documents_);
    std::vector<DocumentTab*> behind;
    for (const Session::Window& stored : Session::load().windows) {
        MainWindow* window = nullptr;
        for (const Session::Entry& entry : stored.entries) {
            const QUrl url = urlOf(entry.url);
            if (tabOf(url))
                continue;
            if (!window) {
                window = &addWindow();
                if (!stored.geometry.isEmpty())
                    window->restoreGeometry(stored.geometry);
            }
            DocumentTab* tab = window->addTab(url);
            tab->setPlace({entry.topLine, entry.isAtEnd});
            behind.push_back(tab);
            if (entry.url == stored.current)
                window->tabs().setCurrent(tab);
        }
    }
    if (reading == Reading::AtOnce)
        opener_.openInBackground(behind);
}

void WindowManager::showFirstWindow() {
    if (!windows_.empty())
        return;
    if (Preferences::shared().showWelcomeWinOnStart())
        showWelcome();
    else
        addWindow().show();
}

void WindowManager::raiseFrontWindow() {
    if (windows_.empty()) {
        showFirstWindow();
        return;
    }
    MainWindow* window = windows_.back();
    window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->raise();
    window->activateWindow();
}

QWidget* WindowManager::frontWidget() const {
    if (!windows_.empty() && windows_.back()->isVisible())
        return windows_.back();
    return welcome_ && welcome_->isVisible() ? welcome_.get() : nullptr;
}

void WindowManager::showWelcome() {
    if (!welcome_) {
        welcome_ = std::make_unique<WelcomeWindow>(*documents_);
        QObject::connect(welcome_.get(), &WelcomeWindow::preferencesRequested, welcome_.get(),
                         [this] { showPreferences(); });
        QObject::connect(welcome_.get(), &WelcomeWindow::remoteHostsRequested, welcome_.get(),
                         [this] { showRemoteHosts(); });
        QObject::connect(welcome_.get(), &WelcomeWindow::hostActivated, welcome_.get(),
                         [this](const std::shared_ptr<RemoteHost>& host) { browseHost(host); });
        QObject::connect(welcome_.get(), &WelcomeWindow::quitRequested, welcome_.get(), [this] { quit(); });
    }
    welcome_->setRemoteFiles(RemoteRecentFilesManager::shared().recentUrls());
    welcome_->show();
    welcome_->raise();
    welcome_->activateWindow();
}

void WindowManager::showPreferences() {
    if (!preferences_)
        preferences_ = std::make_unique<PreferencesWindow>();
    preferences_->show();
    preferences_->raise();
    preferences_->activateWindow();
}

void WindowManager::showRemoteHosts() {
    if (!remoteHosts_)
        remoteHosts_ = std::make_unique<RemoteHostsWindow>(remoteHostsHooks_, alerts_);
    remoteHosts_->show();
    remoteHosts_->raise();
    remoteHosts_->activateWindow();
}

void WindowManager::browseHost(const std::shared_ptr<RemoteHost>& host) {
    if (remoteHostsHooks_.browse) {
        remoteHostsHooks_.browse(host);
        return;
    }
    showRemoteHosts();
    remoteHosts_->selectHost(*host);
}

void WindowManager::quit() {
    session_.saveNow();
    closeAll();
    QCoreApplication::quit();
}

DocumentTab* WindowManager::tabOf(const Document& document) const {
    for (const MainWindow* window : windows_) {
        if (DocumentTab* tab = window->tabs().tabOf(document))
            return tab;
    }
    return nullptr;
}

DocumentTab* WindowManager::tabOf(const QUrl& url) const {
    for (const MainWindow* window : windows_) {
        if (DocumentTab* tab = window->tabs().tabOf(url))
            return tab;
    }
    return nullptr;
}

MainWindowController* WindowManager::pageOf(const Document& document) const {
    DocumentTab* tab = tabOf(document);
    return tab ? tab->makePage() : nullptr;
}

void WindowManager::editRules(MainWindow& window, const QString& newRuleText) {
    if (!rulesEditor_)
        rulesEditor_ = std::make_unique<FilterRulesEditor>(alerts_);
    showPageInRulesEditor(window);
    rulesEditor_->show();
    rulesEditor_->raise();
    rulesEditor_->activateWindow();
    if (!newRuleText.isEmpty())
        rulesEditor_->addRule(newRuleText);
}

void WindowManager::showPageInRulesEditor(const MainWindow& window) {
    if (!rulesEditor_)
        return;
    const QPointer<MainWindowController> page(window.currentPage());
    rulesEditor_->setDocument(page ? page->document() : nullptr, [page] {
        return page && !page->document()->isClosed() ? page->logView().visibleLines() : QStringList();
    });
}

MainWindowController* WindowManager::frontPage() const {
    return windows_.empty() ? nullptr : windows_.back()->currentPage();
}

void WindowManager::showUserUpdate(const QString& text) {
    if (MainWindowController* const page = frontPage())
        page->showUserUpdate(text);
}

void WindowManager::requestAttention(const QString& fileUrl) {
    QWidget* window = windows_.empty() ? nullptr : windows_.back();
    const auto document = documents_->documentForUrl(urlOf(fileUrl));
    if (const DocumentTab* tab = document ? tabOf(*document) : nullptr)
        window = tab->window();
    if (window)
        QApplication::alert(window);
}

void WindowManager::saveSessionNow() {
    if (rulesEditor_)
        rulesEditor_->commitTyping();
    session_.saveNow();
}

void WindowManager::closeAll() {
    isQuitting_ = true;
    session_.stop();
    if (rulesEditor_)
        rulesEditor_->close(); // commits text being typed
    rulesEditor_.reset();
    preferences_.reset();
    remoteHosts_.reset();
    if (welcome_)
        welcome_->hide();
    for (MainWindow* window : std::vector(windows_))
        window->close();
    isQuitting_ = false;
    if (keepsState_)
        session_.start();
}

} // namespace korvane
