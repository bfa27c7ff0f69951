#include "ui/window/WindowManager.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/NotificationNames.h"
#include "core/Preferences.h"
#include "documents/Document.h"
#include "documents/RecentFiles.h"
#include "foundation/FilePath.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"
#include "ui/rules/FilterRulesEditor.h"
#include "ui/window/MainWindow.h"
#include "ui/window/PreferencesWindow.h"
#include "ui/window/Session.h"
#include "ui/window/WelcomeWindow.h"

#include <QApplication>
#include <QPointer>

#include <algorithm>
#include <unistd.h>

namespace korvane {
namespace {

bool fileExists(const QUrl& url) {
    return !url.isLocalFile() || ::access(localPath(url).constData(), F_OK) == 0;
}

} // namespace

WindowManager::WindowManager(AlertPresenter& alerts) : alerts_(alerts) {
    for (const QString& name :
         {notification::filterManager, notification::activeRulesChanged, notification::documentLoaded,
          notification::bookmarksUpdated, notification::lineMarksChanged, notification::lineMarksDeleted,
          notification::remoteHostGroupChanged})
        tokens_.push_back(
            NotificationCenter::shared().observe(name, [this](const Notification&) { tellStoreFault(); }));
}

WindowManager::~WindowManager() {
    for (MainWindow* window : std::exchange(windows_, {}))
        delete window;
}

MainWindow& WindowManager::addWindow() {
    auto* window = new MainWindow(*documents_, alerts_);
    windows_.push_back(window);
    QObject::connect(window, &MainWindow::aboutToClose, window,
                     [this, window] { windowAboutToClose(*window); });
    QObject::connect(window, &MainWindow::preferencesRequested, window, [this] { showPreferences(); });
    QObject::connect(window, &MainWindow::remoteHostsRequested, window, [this] { showRemoteHosts(); });
    QObject::connect(window, &MainWindow::quitRequested, window, [this] { quit(); });
    QObject::connect(window, &MainWindow::activated, window, [this, window] {
        if (std::erase(windows_, window) > 0)
            windows_.push_back(window);
        showPageInRulesEditor(*window);
    });
    QObject::connect(window, &MainWindow::rulesEditorRequested, window,
                     [this, window](const QString& newRuleText) { editRules(*window, newRuleText); });
    QObject::connect(window, &MainWindow::currentPageChanged, window,
                     [this, window] { showPageInRulesEditor(*window); });
    return *window;
}

void WindowManager::windowAboutToClose(MainWindow& window) {
    // The documents of the last window are those of the session.
    if (windows_.size() == 1)
        saveSession();
    std::erase(windows_, &window);
    if (!windows_.empty()) {
        saveSession();
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

MainWindow& WindowManager::windowForNewPage() {
    for (auto window = windows_.rbegin(); window != windows_.rend(); ++window) {
        if (Preferences::shared().useTabs() || (*window)->pages().empty())
            return **window;
    }
    return addWindow();
}

void WindowManager::makeWindow(const std::shared_ptr<Document>& document) {
    MainWindow& window = windowForNewPage();
    auto* page = new MainWindowController(document, alerts_, &window);
    QObject::connect(page, &MainWindowController::loadCancelled, page, [this, document] {
        // After the button's own click has been dealt with.
        QMetaObject::invokeMethod(
            documents_ ? pageOf(*document) : nullptr,
            [this, document] { documents_->closeDocument(document); }, Qt::QueuedConnection);
    });
    window.addPage(page);
    window.show();
    window.raisePage(page);
    if (!pendingUpdate_.isEmpty())
        page->showUserUpdate(std::exchange(pendingUpdate_, {}));
    if (welcome_)
        welcome_->hide();
    if (remoteHosts_)
        remoteHosts_->refreshStates();
    if (keepsState_ && !document->isTransient()) {
        if (document->fileUrl().isLocalFile())
            RecentFiles::add(document->fileUrl());
        saveSession();
    }
}

void WindowManager::raiseWindow(const std::shared_ptr<Document>& document) {
    for (MainWindow* window : windows_) {
        if (MainWindowController* page = window->pageOf(*document))
            window->raisePage(page);
    }
}

void WindowManager::closeWindow(const std::shared_ptr<Document>& document) {
    for (MainWindow* window : std::vector(windows_)) {
        if (!window->removePage(*document))
            continue;
        saveSession();
        if (remoteHosts_)
            remoteHosts_->refreshStates();
        // Without a welcome the last window stays, empty, so that another file can be opened in it.
        if (window->pages().empty() && (windows_.size() > 1 || Preferences::shared().showWelcomeWinOnStart()))
            window->close();
    }
}

void WindowManager::goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) {
    if (MainWindowController* page = pageOf(*document))
        page->logView().goToLineWhenKnown(lineNumber);
}

// ---- From one run to the next

void WindowManager::saveSession() const {
    if (!keepsState_ || isQuitting_ || isRestoring_)
        return;
    Session session;
    for (const MainWindow* window : windows_) {
        for (MainWindowController* page : window->pages()) {
            if (page->document()->isTransient())
                continue;
            const QString url = absoluteString(page->document()->fileUrl());
            const auto place = page->logView().place();
            session.entries.push_back({url, place.topLine, place.isAtEnd});
            if (page == window->currentPage())
                session.current = url;
        }
    }
    session.save();
}

void WindowManager::restoreSession() {
    const Session session = Session::load();
    const auto open = [this](const QString& address) {
        const QUrl url = QUrl::fromEncoded(address.toUtf8(), QUrl::StrictMode);
        // What has gone since is not worth an alert each.
        return fileExists(url) ? documents_->reopenDocument(url) : nullptr;
    };
    QStringList missing;
    isRestoring_ = true;
    for (const Session::Entry& entry : session.entries) {
        const auto document = open(entry.url);
        if (MainWindowController* page = document ? pageOf(*document) : nullptr)
            page->logView().restorePlace({entry.topLine, entry.isAtEnd});
        else
            missing.append(displayName(QUrl::fromEncoded(entry.url.toUtf8(), QUrl::StrictMode)));
    }
    if (!session.current.isEmpty() && !documents_->documents().empty())
        open(session.current);
    isRestoring_ = false;
    if (missing.isEmpty())
        return;
    const QString text = QCoreApplication::translate("WindowManager", "No longer there: %1")
                             .arg(missing.join(QStringLiteral(", ")));
    if (!showUserUpdate(text))
        pendingUpdate_ = text;
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
    if (window->isMinimized())
        window->showNormal();
    window->raise();
    window->activateWindow();
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
    // The session of windows that were closed before has been saved with the last of them.
    if (!windows_.empty())
        saveSession();
    closeAll();
    QCoreApplication::quit();
}

MainWindowController* WindowManager::pageOf(const Document& document) const {
    for (const MainWindow* window : windows_) {
        if (MainWindowController* page = window->pageOf(document))
            return page;
    }
    return nullptr;
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
    QPointer<MainWindowController> page(window.currentPage());
    rulesEditor_->setDocument(page ? page->document() : nullptr, [page] {
        return page && !page->document()->isClosed() ? page->logView().visibleLines() : QStringList();
    });
}

void WindowManager::tellStoreFault() {
    QStringList faults{FiltersManager::shared().fault(),
                       FilterRulesMemento::shared().fault(),
                       FileBasedBookmarksManager::shared().fault(),
                       RemoteHostsManager::shared().fault(),
                       ServerGroupsManager::shared().fault(),
                       Preferences::shared().userDefaults().writeFault()};
    faults.removeAll(QString());
    QStringList news = faults;
    for (const QString& told : toldFaults_)
        news.removeAll(told);
    if (news.isEmpty() || showUserUpdate(news.join(QStringLiteral("; "))))
        toldFaults_ = faults;
}

bool WindowManager::showUserUpdate(const QString& text) {
    const MainWindow* window = windows_.empty() ? nullptr : windows_.back();
    MainWindowController* page = window ? window->currentPage() : nullptr;
    if (page)
        page->showUserUpdate(text);
    return page != nullptr;
}

void WindowManager::requestAttention(const QString& fileUrl) {
    QWidget* window = windows_.empty() ? nullptr : windows_.back();
    const auto document = documents_->documentForUrl(QUrl::fromEncoded(fileUrl.toUtf8(), QUrl::StrictMode));
    if (MainWindowController* page = document ? pageOf(*document) : nullptr)
        window = page->window();
    if (window)
        QApplication::alert(window);
}

void WindowManager::closeAll() {
    isQuitting_ = true;
    rulesEditor_.reset();
    preferences_.reset();
    remoteHosts_.reset();
    if (welcome_)
        welcome_->hide();
    for (MainWindow* window : std::vector(windows_))
        window->close();
    isQuitting_ = false;
}

} // namespace korvane
