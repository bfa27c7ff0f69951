#pragma once

#include <QMainWindow>

#include <memory>
#include <vector>

class QSplitter;
class QStackedWidget;

namespace korvane {

class AlertPresenter;
class AppDocumentController;
class DocumentTab;
class DocumentTabs;
class MainWindowController;
class SidebarTabViewController;
class WindowActions;

/// A window of the program: one document, or several as tabs. Without a document it says how to open one.
/// Main thread; deletes itself when closed.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    /// Both must outlive the window.
    MainWindow(AppDocumentController& documents, AlertPresenter& alerts);

    DocumentTabs& tabs() const { return *tabs_; }
    /// Appends a tab for a file that is not open yet.
    DocumentTab* addTab(const QUrl& url);
    /// Brings the tab and the window to the front, with the window's open dialog, if there is one.
    void raiseTab(DocumentTab* tab);
    void raisePage(MainWindowController* page);
    /// Closes the tabs with their documents.
    void closeTabs(const std::vector<DocumentTab*>& tabs);
    void closeCurrentTab();
    /// The page of the tab in front; null while that has no document.
    MainWindowController* currentPage() const;

    bool isSidebarShown() const;
    void setSidebarShown(bool shown);
    /// Adds a bookmark for the file in front.
    void bookmarkFile();

    /// Asks the user for files.
    void openFiles();
    void showAbout();

Q_SIGNALS:
    void aboutToClose();
    void activated();
    /// Another page is in front, or there is none.
    void currentPageChanged();
    void pageMade(korvane::MainWindowController* page);
    /// A tab whose file is not read yet has come to the front.
    void unreadTabShown(korvane::DocumentTab* tab);
    /// Tabs were added, closed or moved, or another is in front.
    void tabsChanged();
    void lastTabClosed();
    void closeAllRequested();
    /// A tab's view has been scrolled, or the window moved.
    void placeChanged();
    /// The user requested the rules editor; `newRuleText`: start with a rule for this text, null for none.
    void rulesEditorRequested(const QString& newRuleText);
    void preferencesRequested();
    void remoteHostsRequested();
    void quitRequested();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QWidget* makeEmptyPage();
    /// Uses the geometry of the last closed window, otherwise a default size.
    void restoreWindowGeometry();

    void addPage(MainWindowController* page);
    void pageChanged();
    void updateTitle();
    void openFolder(const QUrl& url);

    AppDocumentController& documents_;
    AlertPresenter& alerts_;
    QSplitter* mainSplitViewController_;
    SidebarTabViewController* sidebar_;
    QStackedWidget* stack_;
    DocumentTabs* tabs_;
    WindowActions* actions_ = nullptr;
};

} // namespace korvane
