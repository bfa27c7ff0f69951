#pragma once

#include "documents/AppDocumentController.h"
#include "foundation/notices/NotificationCenter.h"
#include "ui/hosts/RemoteHostsWindow.h"

#include <memory>
#include <vector>

namespace korvane {

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

    void makeWindow(const std::shared_ptr<Document>& document) override;
    void raiseWindow(const std::shared_ptr<Document>& document) override;
    void closeWindow(const std::shared_ptr<Document>& document) override;
    void goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) override;

    /// The files opened, the documents of the last time and the windows' places are kept for the next start.
    void setKeepsState() { keepsState_ = true; }
    /// Opens the documents of the last time again, each where its view stood.
    void restoreSession();
    /// The welcome, or a window without a document if the user wants no welcome; nothing when there is a
    /// window already.
    void showFirstWindow();
    /// Brings the window last used to the front; as `showFirstWindow` when there is none.
    void raiseFrontWindow();
    void showPreferences();
    void showRemoteHosts();
    /// Keeps the session and ends the program.
    void quit();
    MainWindowController* pageOf(const Document& document) const;
    /// Shows the rules editor, if wanted with a new rule for a text.
    void editRules(MainWindow& window, const QString& newRuleText);
    /// Tells the user something in the footer of the page in front. False when there is none.
    bool showUserUpdate(const QString& text);
    /// Has the desktop point at the window of the file, or at the one last used, unless it is in front.
    void requestAttention(const QString& fileUrl);
    /// Closes every window without asking.
    void closeAll();

private:
    MainWindow& addWindow();
    void windowAboutToClose(MainWindow& window);
    void saveSession() const;
    void showWelcome();
    /// Lets the user choose a file of the host, or shows the host where that cannot be done.
    void browseHost(const std::shared_ptr<RemoteHost>& host);
    /// Says once what went wrong with the rule files.
    void tellStoreFault();
    /// The rules editor follows the page in front.
    void showPageInRulesEditor(const MainWindow& window);
    /// Where a new document goes: the window last used, or a new one.
    MainWindow& windowForNewPage();

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
    bool isRestoring_ = false;
    /// The faults of stores that the user has been told of.
    QStringList toldFaults_;
    /// For the next page.
    QString pendingUpdate_;
    std::vector<NotificationToken> tokens_;
};

} // namespace korvane
