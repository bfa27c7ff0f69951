#pragma once

#include "documents/AppDocumentController.h"
#include "ui/hosts/RemoteHostsWindow.h"
#include "ui/window/SessionKeeper.h"
#include "ui/window/StoreFaults.h"
#include "ui/window/TabOpener.h"

#include <QList>
#include <QPointer>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class DocumentTab;
class FilterRulesEditor;
class MainWindow;
class MainWindowController;
class PreferencesWindow;
class WelcomeWindow;

/// Creates, finds and closes the windows of documents: tabs of one window, or separate windows. Main thread.
class WindowManager : public DocumentWindowFactory {
public:
    explicit WindowManager(AlertPresenter& alerts);
    ~WindowManager() override;

    /// Set after construction, since the two need each other; must outlive the windows.
    void setDocumentController(AppDocumentController& documents) { documents_ = &documents; }

    /// The actions on hosts in the hosts windows; set before any of them is shown.
    void setRemoteHostsHooks(RemoteHostsHooks hooks) { remoteHostsHooks_ = std::move(hooks); }

    void changesBegin() override;
    void changesEnd(const std::shared_ptr<Document>& front) override;
    void makeWindow(const std::shared_ptr<Document>& document) override;
    void waitForFile(const QUrl& url, std::optional<qint64> lineNumber, const QString& reason) override;
    void closeWindow(const std::shared_ptr<Document>& document) override;
    void goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) override;

    /// Stores recent files, the session and window geometries for the next start.
    void setKeepsState();
    enum class Reading : unsigned char {
        AtOnce,    ///< every file, those not in front in the background
        WhenShown, ///< each file when its tab is first shown
    };
    /// Restores the windows and tabs of the last session, each scrolled to its place. Within a batch of
    /// changes, files opened afterwards come before them.
    void restoreSession(Reading reading);
    /// Writes the session to disk now, because the program may be killed before another save. Does nothing if
    /// it has not changed.
    void saveSessionNow();
    /// Shows the welcome, or a window without a document if the user wants no welcome; does nothing when
    /// there is a window already.
    void showFirstWindow();
    /// Brings the window last used to the front; as `showFirstWindow` when there is none.
    void raiseFrontWindow();
    /// The window last used, or the welcome; null when neither is shown.
    QWidget* frontWidget() const;
    void showPreferences();
    void showRemoteHosts();
    /// Saves the session and ends the program.
    void quit();
    /// The document's tab; null if it has none.
    DocumentTab* tabOf(const Document& document) const;
    /// The document's page, created if it has not been shown yet; null if it has no tab.
    MainWindowController* pageOf(const Document& document) const;
    /// `action` is called for every page that is created.
    void setPageMade(std::function<void(MainWindowController&)> action) { pageMade_ = std::move(action); }
    /// Null if there is none.
    MainWindowController* frontPage() const;
    /// Shows the rules editor, with a new rule for `newRuleText` unless that is null.
    void editRules(MainWindow& window, const QString& newRuleText);
    /// Shows a message in the footer of the page in front, if there is one.
    void showUserUpdate(const QString& text);
    /// Requests attention for the file's window, or for the one last used, unless it is in front.
    void requestAttention(const QString& fileUrl);
    /// Closes every window without asking.
    void closeAll();

private:
    MainWindow& addWindow();
    void connectWindow(MainWindow& made);
    void windowAboutToClose(MainWindow& window);
    void closeIfEmpty(MainWindow& window);
    void closeAllTabs();
    /// Opens the file of a tab that has no document yet, or makes the tab wait for it.
    void openTab(DocumentTab& tab);
    Session currentSession() const;
    void showWelcome();
    /// Lets the user choose a file of the host, or shows the host if it cannot be browsed.
    void browseHost(const std::shared_ptr<RemoteHost>& host);
    /// Shows the rules of the page in front in the rules editor.
    void showPageInRulesEditor(const MainWindow& window);
    /// The window last used, or a new one.
    MainWindow& windowForNewTab();
    DocumentTab* tabOf(const QUrl& url) const;

    AlertPresenter& alerts_;
    AppDocumentController* documents_ = nullptr;
    /// Not owned: a window deletes itself when closed. The last used window comes last.
    std::vector<MainWindow*> windows_;
    std::unique_ptr<FilterRulesEditor> rulesEditor_;
    std::unique_ptr<PreferencesWindow> preferences_;
    RemoteHostsHooks remoteHostsHooks_;
    std::unique_ptr<RemoteHostsWindow> remoteHosts_;
    std::unique_ptr<WelcomeWindow> welcome_;
    bool keepsState_ = false;
    bool isQuitting_ = false;
    /// An existing tab is getting its document.
    bool isReopening_ = false;
    int changes_ = 0;
    /// The tab to bring to the front when the changes under way end.
    QPointer<DocumentTab> nextFront_;
    /// Local files opened by the changes under way.
    QList<QUrl> opened_;
    SessionKeeper session_;
    TabOpener opener_;
    std::function<void(MainWindowController&)> pageMade_;
    std::optional<StoreFaults> storeFaults_;
};

} // namespace korvane
