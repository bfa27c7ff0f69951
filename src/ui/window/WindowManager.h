#pragma once

#include "documents/AppDocumentController.h"
#include "foundation/notices/Notice.h"
#include "ui/hosts/RemoteHostsWindow.h"
#include "ui/window/SessionKeeper.h"
#include "ui/window/TabOpener.h"

#include <QList>
#include <QPointer>
#include <QUrl>

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

class DocumentTab;
class FilterRulesEditor;
class MainWindow;
class MainWindowController;
class PreferencesWindow;
class WelcomeWindow;

/// Makes, finds and closes the windows of documents: as tabs of one window, or each in its own. Main thread.
class WindowManager : public DocumentWindowFactory {
public:
    explicit WindowManager(AlertPresenter& alerts);
    ~WindowManager() override;

    /// Handed in after construction, since the two need each other; must outlive the windows.
    void setDocumentController(AppDocumentController& documents) { documents_ = &documents; }

    /// What the windows of hosts can do with them; before any of them is shown.
    void setRemoteHostsHooks(RemoteHostsHooks hooks) { remoteHostsHooks_ = std::move(hooks); }

    void changesBegin() override;
    void changesEnd(const std::shared_ptr<Document>& front) override;
    void makeWindow(const std::shared_ptr<Document>& document) override;
    void waitForFile(const QUrl& url, std::optional<qint64> lineNumber, const QString& reason) override;
    void closeWindow(const std::shared_ptr<Document>& document) override;
    void goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) override;

    /// The files opened, the documents of the last time and the windows' places are kept for the next start.
    void setKeepsState();
    enum class Reading : unsigned char {
        AtOnce,    ///< every file, those not in front in the background
        WhenShown, ///< each file when its tab is first shown
    };
    /// Brings back the windows and tabs of the last time, each where its view stood. Within a batch of
    /// changes the files opened after this come before them.
    void restoreSession(Reading reading);
    /// Puts the session on the disk as it is now, for an end of the program that may leave no other time.
    /// What has not changed is not written again.
    void saveSessionNow();
    /// The welcome, or a window without a document if the user wants no welcome; nothing when there is a
    /// window already.
    void showFirstWindow();
    /// Brings the window last used to the front; as `showFirstWindow` when there is none.
    void raiseFrontWindow();
    /// The window last used, or the welcome; null when neither is shown.
    QWidget* frontWidget() const;
    void showPreferences();
    void showRemoteHosts();
    /// Keeps the session and ends the program.
    void quit();
    /// The document's tab, null when it has none.
    DocumentTab* tabOf(const Document& document) const;
    /// The document's page, made now if it has not been shown yet; null when it has no tab.
    MainWindowController* pageOf(const Document& document) const;
    /// Called for every page that is made.
    void setPageMade(std::function<void(MainWindowController&)> action) { pageMade_ = std::move(action); }
    /// Null when none is open.
    MainWindowController* frontPage() const;
    /// Shows the rules editor, if wanted with a new rule for a text.
    void editRules(MainWindow& window, const QString& newRuleText);
    /// Tells the user something in the footer of the page in front, if there is one.
    void showUserUpdate(const QString& text);
    /// Has the desktop point at the window of the file, or at the one last used, unless it is in front.
    void requestAttention(const QString& fileUrl);
    /// Closes every window without asking.
    void closeAll();

private:
    MainWindow& addWindow();
    void connectWindow(MainWindow& window);
    void windowAboutToClose(MainWindow& window);
    void closeIfEmpty(MainWindow& window);
    void closeAllTabs();
    /// Opens the file of a tab that has no document yet, or lets the tab wait for it.
    void openTab(DocumentTab& tab);
    Session currentSession() const;
    void showWelcome();
    /// Lets the user choose a file of the host, or shows the host where that cannot be done.
    void browseHost(const std::shared_ptr<RemoteHost>& host);
    /// Says once what went wrong with the rule files.
    void watchStores();
    void tellStoreFault();
    /// The rules editor follows the page in front.
    void showPageInRulesEditor(const MainWindow& window);
    /// Where a new document goes: the window last used, or a new one.
    MainWindow& windowForNewTab();
    DocumentTab* tabOf(const QUrl& url) const;

    AlertPresenter& alerts_;
    AppDocumentController* documents_ = nullptr;
    /// Not owned: a window deletes itself when closed. The last used one last.
    std::vector<MainWindow*> windows_;
    std::unique_ptr<FilterRulesEditor> rulesEditor_;
    std::unique_ptr<PreferencesWindow> preferences_;
    RemoteHostsHooks remoteHostsHooks_;
    std::unique_ptr<RemoteHostsWindow> remoteHosts_;
    std::unique_ptr<WelcomeWindow> welcome_;
    bool keepsState_ = false;
    bool isQuitting_ = false;
    /// A tab that was there already gets its document.
    bool isReopening_ = false;
    int changes_ = 0;
    /// The tab that the changes under way bring to the front.
    QPointer<DocumentTab> nextFront_;
    /// Local files opened by the changes under way.
    QList<QUrl> opened_;
    SessionKeeper session_;
    TabOpener opener_;
    std::function<void(MainWindowController&)> pageMade_;
    /// The faults of stores that the user has been told of.
    QStringList toldFaults_;
    Subscriptions subscriptions_;
};

} // namespace korvane
