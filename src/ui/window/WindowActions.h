#pragma once

#include "foundation/notices/Notice.h"
#include "ui/window/FileExistence.h"

#include <QKeySequence>
#include <QObject>

#include <functional>
#include <vector>

class QAction;
class QMenu;
class QMenuBar;

namespace korvane {

class AppDocumentController;
class EncodingMenu;
class MainToolBar;
class MainWindow;
class MainWindowController;
class RulesMenu;

/// The actions of a window: menus and tool bar, enabled according to the page in front. Belongs to its
/// window. Main thread.
class WindowActions : public QObject {
    Q_OBJECT

public:
    WindowActions(MainWindow& window, AppDocumentController& documents, MainToolBar& toolBar);

    /// The context menu for the rows of a log view; owned by the window.
    QMenu* contextMenu() const { return contextMenu_; }

    /// Another page is in front, or there is none.
    void pageChanged();
    /// The state of the page in front has changed.
    void update();

private:
    using PageAction = std::function<void(MainWindowController&)>;

    void makeFileMenu();
    void makeEditMenu();
    void makeViewMenu();
    void makeEncodingMenu(QMenu& viewMenu);
    void makeGoMenu();
    void makeMarksMenu();
    void makeRulesMenu();
    void makeHelpMenu();
    void makeConditionActions(QMenu& menu);
    void makeContextMenu();
    void fillToolBar();
    QMenu& addMenu(const QString& title);
    /// An entry that needs a document.
    QAction* addPageAction(QMenu& menu, const QString& text, const QKeySequence& shortcut,
                           const PageAction& action);
    /// An entry that needs a tab, with or without a document.
    QAction* addTabAction(QMenu& menu, const QString& text, const QList<QKeySequence>& shortcuts,
                          const std::function<void()>& action);
    QAction* addToToolBar(QAction* action, const QString& iconName, const QString& text);

    void showRules();
    void showRecentFiles();
    void editSearch();

    MainWindow& window_;
    AppDocumentController& documents_;
    MainToolBar& toolBar_;
    QMenu* contextMenu_;
    std::vector<QAction*> pageActions_;
    std::vector<QAction*> tabActions_;
    QAction* reload_ = nullptr;
    QAction* connect_ = nullptr;
    QAction* copy_ = nullptr;
    QAction* copyWithHidden_ = nullptr;
    QAction* onlyWithThis_ = nullptr;
    QAction* withoutThis_ = nullptr;
    QMenu* searchOptions_ = nullptr;
    QAction* copyWithNumbers_ = nullptr;
    QAction* copyAsMarkdown_ = nullptr;
    QAction* selectAll_ = nullptr;
    QAction* tail_ = nullptr;
    QAction* clearView_ = nullptr;
    QAction* showAllLines_ = nullptr;
    QAction* sidebar_ = nullptr;
    QAction* wrap_ = nullptr;
    QAction* lineNumbers_ = nullptr;
    QAction* quickHighlight_ = nullptr;
    QAction* goToLine_ = nullptr;
    QAction* newRule_ = nullptr;
    QAction* bookmark_ = nullptr;
    QAction* share_ = nullptr;
    QAction* terminal_ = nullptr;
    QAction* lineMark_ = nullptr;
    QMenu* recentMenu_ = nullptr;
    /// Checks the recent files; each action holds the address of its file.
    FileExistence existence_;
    QMenu* rulesMenu_ = nullptr;
    QAction* hideUnclaimed_ = nullptr;
    RulesMenu* ruleEntries_ = nullptr;
    EncodingMenu* encodings_ = nullptr;
    Subscription defaultLineAction_;
};

} // namespace korvane
