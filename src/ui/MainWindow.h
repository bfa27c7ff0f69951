#pragma once

#include <QMainWindow>

#include <functional>
#include <memory>
#include <vector>

class QAction;
class QActionGroup;
class QMenu;
class QStackedWidget;
class QTabWidget;

namespace korvane {

class AppDocumentController;
class Document;
class MainWindowController;

/// A window of the program: one document, or several as tabs. Without one it says how to open a file. Main
/// thread; deletes itself when closed.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(AppDocumentController& documents);

    void addPage(MainWindowController* page);
    /// Takes the page of a document away; false if it has none here.
    bool removePage(const Document& document);
    MainWindowController* pageOf(const Document& document) const;
    MainWindowController* currentPage() const;
    std::vector<MainWindowController*> pages() const;
    void raisePage(MainWindowController* page);

Q_SIGNALS:
    void aboutToClose();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void makeMenus();
    void makeFileMenu();
    void makeEditMenu();
    void makeViewMenu();
    void makeEncodingMenu(QMenu& viewMenu);
    void makeGoMenu();
    void makeHelpMenu();
    QWidget* makeEmptyPage();
    /// Adds an entry that needs a document.
    QAction* addPageAction(QMenu& menu, const QString& text, const QKeySequence& shortcut,
                           const std::function<void(MainWindowController&)>& action);

    void pageChanged();
    void updateActions();
    void updateTitles();
    void openFiles();
    void showAbout();

    AppDocumentController& documents_;
    QStackedWidget* stack_;
    QTabWidget* tabs_;
    QMenu* contextMenu_ = nullptr;
    std::vector<QAction*> pageActions_;
    QAction* copyAction_ = nullptr;
    QAction* wrapAction_ = nullptr;
    QAction* lineNumbersAction_ = nullptr;
    QAction* quickHighlightAction_ = nullptr;
    QActionGroup* encodings_ = nullptr;
};

} // namespace korvane
