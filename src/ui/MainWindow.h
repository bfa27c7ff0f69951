#pragma once

#include "foundation/NotificationCenter.h"

#include <QMainWindow>
#include <QUuid>

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
    void activated();
    /// Another page is in front, or none.
    void currentPageChanged();
    /// The user wants to edit the rules; `newRuleText`: to begin with a rule for this text, null for none.
    void rulesEditorRequested(const QString& newRuleText);

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void makeMenus();
    void makeFileMenu();
    void makeEditMenu();
    void makeViewMenu();
    void makeEncodingMenu(QMenu& viewMenu);
    void makeGoMenu();
    void makeRulesMenu();
    /// One entry a rule, checked where it is switched on for the page in front.
    void showRulesInMenu();
    void toggleRule(const QUuid& id);
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
    QMenu* rulesMenu_ = nullptr;
    QAction* hideUnclaimedAction_ = nullptr;
    /// The entries of the single rules.
    std::vector<QAction*> ruleActions_;
    std::vector<NotificationToken> tokens_;
    QActionGroup* encodings_ = nullptr;
};

} // namespace korvane
