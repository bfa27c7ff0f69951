#pragma once

#include <QMainWindow>

#include <memory>
#include <vector>

class QSplitter;
class QStackedWidget;
class QTabWidget;

namespace korvane {

class AlertPresenter;
class AppDocumentController;
class Document;
class MainWindowController;
class SidebarTabViewController;
class WindowActions;

/// A window of the program: one document, or several as tabs. Without one it says how to open a file. Main
/// thread; deletes itself when closed.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    /// Both must outlive the window.
    MainWindow(AppDocumentController& documents, AlertPresenter& alerts);

    void addPage(MainWindowController* page);
    /// Takes the page of a document away; false if it has none here.
    bool removePage(const Document& document);
    MainWindowController* pageOf(const Document& document) const;
    MainWindowController* currentPage() const;
    std::vector<MainWindowController*> pages() const;
    void raisePage(MainWindowController* page);

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
    /// Another page is in front, or none.
    void currentPageChanged();
    /// The user wants to edit the rules; `newRuleText`: to begin with a rule for this text, null for none.
    void rulesEditorRequested(const QString& newRuleText);
    void preferencesRequested();
    void remoteHostsRequested();
    void quitRequested();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QWidget* makeEmptyPage();
    /// As the window closed last stood, or as large as suits a new one.
    void restoreWindowGeometry();

    void pageChanged();
    void updateTitles();
    void linesArrived(MainWindowController& page, qint64 count);
    /// Marks the tab of a page that has lost its server, or that has something new; 0 for nothing.
    void showState(MainWindowController& page, qint64 count);

    AppDocumentController& documents_;
    QSplitter* mainSplitViewController_;
    SidebarTabViewController* sidebar_;
    QStackedWidget* stack_;
    QTabWidget* tabs_;
    WindowActions* actions_ = nullptr;
};

} // namespace korvane
