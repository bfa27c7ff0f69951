#include "ui/window/WindowActions.h"

#include "core/Preferences.h"
#include "core/TailDataSourceProtocol.h"
#include "documents/AppDocumentController.h"
#include "documents/Document.h"
#include "documents/RecentFiles.h"
#include "foundation/FilePath.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "ui/page/EncodingMenu.h"
#include "ui/page/LineCopier.h"
#include "ui/page/LineMarker.h"
#include "ui/page/LogAppearance.h"
#include "ui/page/LogSearch.h"
#include "ui/page/LogViewController.h"
#include "ui/page/LogZoom.h"
#include "ui/page/MainWindowController.h"
#include "ui/rules/RulesMenu.h"
#include "ui/tabs/DocumentTabs.h"
#include "ui/widgets/Icons.h"
#include "ui/window/HiddenLinesMenu.h"
#include "ui/window/MainToolBar.h"
#include "ui/window/MainWindow.h"
#include "ui/window/ShortcutsWindow.h"

#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QToolButton>

#include <algorithm>

namespace korvane {
namespace {

constexpr int recentFileWidth = 520;

/// The description of an action, with its shortcut.
QString toolTipOf(const QAction& action, const QString& text) {
    return text + QStringLiteral(" (%1)").arg(action.shortcut().toString(QKeySequence::NativeText));
}

} // namespace

WindowActions::WindowActions(MainWindow& window, AppDocumentController& documents, MainToolBar& toolBar)
    : QObject(&window), window_(window), documents_(documents), toolBar_(toolBar),
      contextMenu_(new QMenu(&window)) {
    makeFileMenu();
    makeEditMenu();
    makeViewMenu();
    makeGoMenu();
    makeMarksMenu();
    makeRulesMenu();
    makeHelpMenu();
    makeContextMenu();
    fillToolBar();
}

QMenu& WindowActions::addMenu(const QString& title) {
    return *window_.menuBar()->addMenu(title);
}

QAction* WindowActions::addPageAction(QMenu& menu, const QString& text, const QKeySequence& shortcut,
                                      const PageAction& action) {
    QAction* added = menu.addAction(text, this, [this, action] {
        if (MainWindowController* page = window_.currentPage())
            action(*page);
        update();
    });
    added->setShortcut(shortcut);
    pageActions_.push_back(added);
    return added;
}

QAction* WindowActions::addTabAction(QMenu& menu, const QString& text, const QList<QKeySequence>& shortcuts,
                                     const std::function<void()>& action) {
    QAction* added = menu.addAction(text, this, action);
    added->setShortcuts(shortcuts);
    tabActions_.push_back(added);
    return added;
}

// ---- Menus

void WindowActions::makeFileMenu() {
    QMenu& menu = addMenu(tr("&File"));
    menu.addAction(tr("&Open…"), QKeySequence::Open, &window_, &MainWindow::openFiles);
    recentMenu_ = menu.addMenu(tr("Open &Recent"));
    connect(recentMenu_, &QMenu::aboutToShow, this, [this] { showRecentFiles(); });
    menu.addAction(tr("Remote &Hosts…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O), &window_,
                   &MainWindow::remoteHostsRequested);
    reload_ = addPageAction(menu, tr("Re&load"), QKeySequence(Qt::Key_F5), [](MainWindowController& page) {
        if (page.canConnect())
            page.connectToServer();
        else
            page.reload();
    });
    connect_ = addPageAction(menu, tr("Con&nect to the Server"), {},
                             [](MainWindowController& page) { page.connectToServer(); });
    menu.addSeparator();
    addPageAction(menu, tr("File &Information"), QKeySequence(Qt::CTRL | Qt::Key_I),
                  [](MainWindowController& page) { page.showFileInfo(); });
    share_ = addPageAction(menu, tr("&Share by E-mail…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_M),
                           [](MainWindowController& page) { page.shareByEmail(); });
    terminal_ = addPageAction(menu, tr("Open &Terminal Here"), QKeySequence(Qt::SHIFT | Qt::Key_F4),
                              [](MainWindowController& page) { page.openTerminal(); });
    menu.addSeparator();
    addTabAction(menu, tr("&Close"), {Qt::CTRL | Qt::Key_W, Qt::CTRL | Qt::Key_F4},
                 [this] { window_.closeCurrentTab(); });
    addTabAction(menu, tr("Close &All"), {Qt::CTRL | Qt::SHIFT | Qt::Key_W},
                 [this] { Q_EMIT window_.closeAllRequested(); });
    menu.addSeparator();
    menu.addAction(tr("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q), &window_, &MainWindow::quitRequested);
}

void WindowActions::showRecentFiles() {
    recentMenu_->clear();
    const QStringList urls = RecentFiles::urls();
    const auto add = [this](const QString& address) {
        const QUrl url = QUrl::fromEncoded(address.toUtf8(), QUrl::StrictMode);
        const QString text =
            window_.fontMetrics().elidedText(displayAddress(url), Qt::ElideMiddle, recentFileWidth);
        recentMenu_
            ->addAction(QString(text).replace(u'&', QStringLiteral("&&")), this,
                        [this, url] { documents_.openDocument(url); })
            ->setData(address);
    };
    std::for_each(urls.begin(), urls.end(), add);
    recentMenu_->addSeparator();
    const QStringList& remote = RemoteRecentFilesManager::shared().recentUrls();
    std::for_each(remote.rbegin(), remote.rend(), add);
    recentMenu_->addSeparator();
    auto* removeMissing = recentMenu_->addAction(tr("Remove &Missing Files"));
    removeMissing->setEnabled(false);
    existence_.findMissing(urls, [this, removeMissing](const QStringList& missing) {
        for (QAction* action : recentMenu_->actions())
            if (missing.contains(action->data().toString()))
                action->setText(tr("%1 (missing)").arg(action->text()));
        removeMissing->setEnabled(!missing.isEmpty());
        connect(removeMissing, &QAction::triggered, this, [missing] { RecentFiles::remove(missing); });
    });
    recentMenu_
        ->addAction(tr("&Clear List"), this,
                    [] {
                        RecentFiles::clear();
                        RemoteRecentFilesManager::shared().clear();
                    })
        ->setEnabled(!urls.isEmpty() || !remote.isEmpty());
}

void WindowActions::makeEditMenu() {
    QMenu& menu = addMenu(tr("&Edit"));
    copy_ = addPageAction(menu, tr("&Copy"), QKeySequence::Copy,
                          [](MainWindowController& page) { page.logView().copier().copySelection(); });
    copyWithHidden_ =
        addPageAction(menu, tr("Copy with &Hidden Lines"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C),
                      [](MainWindowController& page) {
                          page.logView().copier().copySelection(LineCopier::HiddenLines::Included);
                      });
    const auto addCopy = [&](const QString& text, CopyFormat::Kind format) {
        return addPageAction(menu, text, {}, [format](MainWindowController& page) {
            page.logView().copier().copySelection(LineCopier::HiddenLines::LeftOut, format);
        });
    };
    copyWithNumbers_ = addCopy(tr("Copy with &Line Numbers"), CopyFormat::Kind::Numbered);
    copyAsMarkdown_ = addCopy(tr("Copy as &Markdown"), CopyFormat::Kind::Markdown);
    selectAll_ =
        addPageAction(menu, tr("Select &All"), QKeySequence::SelectAll,
                      [](MainWindowController& page) { page.logView().tableView().selection().selectAll(); });
    menu.addSeparator();
    addPageAction(menu, tr("&Find…"), QKeySequence::Find, [this](MainWindowController&) { editSearch(); });
    const auto find = [this](void (LogSearch::*search)()) {
        return [this, search](MainWindowController& page) {
            if (page.logView().search().text().isEmpty())
                editSearch();
            else
                (page.logView().search().*search)();
        };
    };
    addPageAction(menu, tr("Find &Next"), QKeySequence(Qt::Key_F3), find(&LogSearch::findForwards));
    addPageAction(menu, tr("Find &Previous"), QKeySequence(Qt::SHIFT | Qt::Key_F3),
                  find(&LogSearch::findBackwards));
    searchOptions_ = menu.addMenu(tr("Search &Options"));
    menu.addSeparator();
    menu.addAction(tr("Pr&eferences…"), QKeySequence(Qt::CTRL | Qt::Key_Comma), &window_,
                   &MainWindow::preferencesRequested);
}

void WindowActions::makeViewMenu() {
    QMenu& menu = addMenu(tr("&View"));
    tail_ = addPageAction(menu, tr("Start Tailing"), QKeySequence(Qt::CTRL | Qt::Key_T),
                          [](MainWindowController& page) {
                              if (page.isTailing())
                                  page.stopTailing();
                              else
                                  page.startTailing();
                          });
    clearView_ = addPageAction(menu, tr("&Clear View"), QKeySequence(Qt::CTRL | Qt::Key_L),
                               [](MainWindowController& page) { page.logView().clearView(); });
    showAllLines_ = addPageAction(menu, tr("Show Cl&eared Lines"), {},
                                  [](MainWindowController& page) { page.logView().showAllLines(); });
    menu.addSeparator();
    sidebar_ = menu.addAction(tr("Hide &Sidebar"), QKeySequence(Qt::Key_F9), this,
                              [this] { window_.setSidebarShown(!window_.isSidebarShown()); });
    wrap_ = addPageAction(menu, tr("&Wrap Lines"), QKeySequence(Qt::ALT | Qt::Key_Z),
                          [](MainWindowController& page) {
                              LogAppearance& look = page.logView().appearance();
                              look.setWrappingLines(!look.wrappingLines());
                          });
    wrap_->setCheckable(true);
    lineNumbers_ = addPageAction(
        menu, tr("Hide Line &Numbers"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_L),
        [](MainWindowController& page) {
            Preferences::shared().setShowLineNumbers(!page.logView().appearance().showsLineNumbers());
        });
    quickHighlight_ =
        addPageAction(menu, tr("&Highlight Selected Text"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_H),
                      [](MainWindowController& page) {
                          page.logView().setQuickHighlightEnabled(!page.logView().quickHighlightEnabled());
                      });
    quickHighlight_->setCheckable(true);
    makeConditionActions(menu);
    auto* hiddenLines = new HiddenLinesMenu(&menu);
    menu.addMenu(hiddenLines);
    hiddenLines->addSeparator();
    hiddenLines->addAction(tr("&Next of These"), QKeySequence(Qt::CTRL | Qt::Key_H), this,
                           &HiddenLinesMenu::chooseNext);
    menu.addSeparator();
    QAction* zoomIn = addPageAction(menu, tr("&Larger Text"), {},
                                    [](MainWindowController&) { LogZoom::shared().change(1); });
    // With and without Shift, which "+" needs on many keyboards.
    zoomIn->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Plus), QKeySequence(Qt::CTRL | Qt::Key_Equal)});
    addPageAction(menu, tr("S&maller Text"), QKeySequence(Qt::CTRL | Qt::Key_Minus),
                  [](MainWindowController&) { LogZoom::shared().change(-1); });
    addPageAction(menu, tr("Norm&al Text Size"), QKeySequence(Qt::CTRL | Qt::Key_0),
                  [](MainWindowController&) { LogZoom::shared().reset(); });
    menu.addSeparator();
    makeEncodingMenu(menu);
    menu.addSeparator();
    menu.addAction(tr("&Full Screen"), QKeySequence::FullScreen, &window_,
                   [this] { window_.setWindowState(window_.windowState() ^ Qt::WindowFullScreen); });
}

void WindowActions::makeEncodingMenu(QMenu& viewMenu) {
    encodings_ = new EncodingMenu(&viewMenu);
    viewMenu.addMenu(encodings_);
    pageActions_.push_back(encodings_->menuAction());
    connect(encodings_, &EncodingMenu::chosen, this, [this](EncodingChoice choice) {
        if (MainWindowController* page = window_.currentPage())
            page->logView().setEncodingChoice(choice);
    });
}

void WindowActions::makeMarksMenu() {
    QMenu& menu = addMenu(tr("&Bookmarks"));
    bookmark_ = addPageAction(menu, tr("&Bookmark This File"), QKeySequence(Qt::CTRL | Qt::Key_D),
                              [this](MainWindowController&) { window_.bookmarkFile(); });
    menu.addSeparator();
    lineMark_ = addPageAction(menu, tr("&Toggle Line Mark"), QKeySequence(Qt::CTRL | Qt::Key_F2),
                              [](MainWindowController& page) { page.logView().toggleLineMarkMenuAction(); });
    addPageAction(menu, tr("&Next Line Mark"), QKeySequence(Qt::Key_F2),
                  [](MainWindowController& page) { page.logView().lineMarker().goToNext(); });
    addPageAction(menu, tr("&Previous Line Mark"), QKeySequence(Qt::SHIFT | Qt::Key_F2),
                  [](MainWindowController& page) { page.logView().lineMarker().goToPrevious(); });
}

void WindowActions::makeGoMenu() {
    QMenu& menu = addMenu(tr("&Go"));
    goToLine_ = addPageAction(menu, tr("Go to &Line…"), QKeySequence(Qt::CTRL | Qt::Key_G),
                              [](MainWindowController& page) { page.logView().performGotoLineMenuAction(); });
    menu.addSeparator();
    addPageAction(menu, tr("&First Line"), QKeySequence(Qt::CTRL | Qt::Key_Home),
                  [](MainWindowController& page) { page.logView().goToFirstLine(); });
    addPageAction(menu, tr("L&ast Line"), QKeySequence(Qt::CTRL | Qt::Key_End),
                  [](MainWindowController& page) { page.logView().goToLastLine(); });
    menu.addSeparator();
    DocumentTabs& tabs = window_.tabs();
    addTabAction(menu, tr("&Next File"), {Qt::CTRL | Qt::Key_Tab, Qt::CTRL | Qt::Key_PageDown},
                 [&tabs] { tabs.goToNext(); });
    addTabAction(menu, tr("&Previous File"), {Qt::CTRL | Qt::SHIFT | Qt::Key_Tab, Qt::CTRL | Qt::Key_PageUp},
                 [&tabs] { tabs.goToPrevious(); });
    addTabAction(menu, tr("&Open Files…"), {Qt::CTRL | Qt::SHIFT | Qt::Key_A}, [&tabs] { tabs.showList(); });
}

void WindowActions::makeRulesMenu() {
    rulesMenu_ = &addMenu(tr("&Rules"));
    rulesMenu_->addAction(tr("&Edit Rules…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R), this,
                          [this] { Q_EMIT window_.rulesEditorRequested({}); });
    newRule_ =
        addPageAction(*rulesMenu_, tr("New &Rule from Selection…"),
                      QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N), [this](MainWindowController& page) {
                          Q_EMIT window_.rulesEditorRequested(page.logView().textForNewRule());
                      });
    hideUnclaimed_ =
        addPageAction(*rulesMenu_, tr("&Hide Lines That No Rule Claims"),
                      QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_U), [](MainWindowController& page) {
                          page.logView().setHidesUnclaimedLines(!page.logView().hidesUnclaimedLines());
                      });
    hideUnclaimed_->setCheckable(true);
    rulesMenu_->addSeparator();
    ruleEntries_ = new RulesMenu(*rulesMenu_);
    connect(ruleEntries_, &RulesMenu::editorRequested, this,
            [this] { Q_EMIT window_.rulesEditorRequested({}); });
}

void WindowActions::showRules() {
    MainWindowController* page = window_.currentPage();
    ruleEntries_->setDocument(page ? page->document() : nullptr);
    const auto showAction = [this, page] {
        hideUnclaimed_->setChecked(page && page->logView().hidesUnclaimedLines());
    };
    // The page in front outlives the subscription, which ends when another page replaces it.
    defaultLineAction_ =
        page ? page->document()->dataSource()->notices().defaultLineActionChanged.subscribe(showAction)
             : Subscription();
    showAction();
}

void WindowActions::makeHelpMenu() {
    QMenu& menu = addMenu(tr("&Help"));
    menu.addAction(tr("&Keyboard Shortcuts"), QKeySequence::HelpContents, &window_, [this] {
        auto* shortcuts = new ShortcutsWindow(*window_.menuBar(), &window_);
        shortcuts->show();
    });
    menu.addSeparator();
    menu.addAction(tr("&About Korvane"), &window_, &MainWindow::showAbout);
}

void WindowActions::makeConditionActions(QMenu& menu) {
    using Show = void (MainWindowController::*)(const QString& text);
    const auto add = [&](const QString& text, const QKeySequence& shortcut, Show show) {
        return addPageAction(menu, text, shortcut, [show](MainWindowController& page) {
            (page.*show)(page.logView().tableView().selectedText());
        });
    };
    onlyWithThis_ = add(tr("Onl&y Lines with This"), QKeySequence(Qt::CTRL | Qt::Key_K),
                        &MainWindowController::showOnlyLinesWith);
    withoutThis_ = add(tr("Lines wi&thout This"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_K),
                       &MainWindowController::showLinesWithout);
}

void WindowActions::makeContextMenu() {
    contextMenu_->addAction(copy_);
    contextMenu_->addAction(copyWithHidden_);
    contextMenu_->addAction(copyWithNumbers_);
    contextMenu_->addAction(copyAsMarkdown_);
    contextMenu_->addAction(selectAll_);
    contextMenu_->addSeparator();
    contextMenu_->addAction(onlyWithThis_);
    contextMenu_->addAction(withoutThis_);
    contextMenu_->addSeparator();
    contextMenu_->addAction(lineMark_);
    contextMenu_->addSeparator();
    contextMenu_->addAction(wrap_);
    contextMenu_->addAction(lineNumbers_);
    contextMenu_->addSeparator();
    contextMenu_->addAction(goToLine_);
    contextMenu_->addSeparator();
    contextMenu_->addAction(newRule_);
}

void WindowActions::editSearch() {
    QString text;
    // Preset the field with the selected text.
    if (MainWindowController* page = window_.currentPage())
        text = page->logView().tableView().selectedText();
    toolBar_.editSearch(text.trimmed());
}

// ---- Tool bar

QAction* WindowActions::addToToolBar(QAction* action, const QString& iconName, const QString& text) {
    // Menus show no icons.
    action->setIconVisibleInMenu(false);
    action->setIcon(icon(iconName));
    action->setToolTip(toolTipOf(*action, text));
    toolBar_.addAction(action);
    return action;
}

void WindowActions::fillToolBar() {
    addToToolBar(sidebar_, QStringLiteral("sidebar"), tr("Show or hide the sidebar"));
    addToToolBar(tail_, QStringLiteral("tail-start"), tr("Follow the file as it grows"));
    auto* tailButton = qobject_cast<QToolButton*>(toolBar_.widgetForAction(tail_));
    tailButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    // Reserve the width of the longer caption so that the layout does not shift.
    for (const QString& text : {tr("Stop Tailing"), tr("Start Tailing")}) {
        tail_->setText(text);
        tailButton->setMinimumWidth(std::max(tailButton->minimumWidth(), tailButton->sizeHint().width()));
    }
    addToToolBar(clearView_, QStringLiteral("clear"), tr("Clear the view"));
    toolBar_.addSeparator();
    addToToolBar(wrap_, QStringLiteral("wrap"), tr("Wrap long lines"));
    addToToolBar(quickHighlight_, QStringLiteral("highlight"), tr("Highlight the selected text everywhere"));
    toolBar_.addSeparator();
    addToToolBar(bookmark_, QStringLiteral("bookmark-add"), tr("Bookmark this file"));
    addToToolBar(share_, QStringLiteral("share"), tr("Share the file by e-mail"));
    addToToolBar(terminal_, QStringLiteral("terminal"), tr("Open a terminal where the file is"));
    toolBar_.addSearch();
    searchOptions_->addActions(toolBar_.switches());
    connect(&toolBar_, &MainToolBar::searchLeft, this, [this] {
        if (MainWindowController* page = window_.currentPage())
            page->setFocus();
    });
}

// ---- State

void WindowActions::pageChanged() {
    MainWindowController* page = window_.currentPage();
    toolBar_.setSearch(page ? &page->logView().search() : nullptr);
    update();
    showRules();
}

void WindowActions::update() {
    MainWindowController* page = window_.currentPage();
    for (QAction* action : pageActions_)
        action->setEnabled(page != nullptr);
    reload_->setEnabled(page && (page->canReload() || page->canConnect()));
    for (QAction* action : tabActions_)
        action->setEnabled(window_.tabs().count() > 0);
    connect_->setEnabled(page && page->canConnect());
    const bool tails = page && page->isTailing();
    sidebar_->setText(window_.isSidebarShown() ? tr("Hide &Sidebar") : tr("Show &Sidebar"));
    const QString tailText = tails ? tr("Stop Tailing") : tr("Start Tailing");
    if (tail_->text() != tailText) {
        tail_->setText(tailText);
        tail_->setIcon(icon(tails ? QStringLiteral("tail-stop") : QStringLiteral("tail-start")));
        tail_->setToolTip(
            toolTipOf(*tail_, tails ? tr("Follow the file no longer") : tr("Follow the file as it grows")));
    }
    if (!page)
        return;
    LogViewController& logView = page->logView();
    copy_->setEnabled(logView.copier().canCopy());
    onlyWithThis_->setEnabled(page->canShowLinesByText());
    withoutThis_->setEnabled(page->canShowLinesByText());
    copyWithNumbers_->setEnabled(logView.copier().canCopy());
    copyAsMarkdown_->setEnabled(logView.copier().canCopy());
    copyWithHidden_->setEnabled(logView.copier().canCopyLines());
    showAllLines_->setEnabled(logView.hasClearedLines());
    wrap_->setChecked(logView.appearance().wrappingLines());
    lineNumbers_->setText(logView.appearance().showsLineNumbers() ? tr("Hide Line &Numbers")
                                                                  : tr("Show Line &Numbers"));
    quickHighlight_->setChecked(logView.quickHighlightEnabled());
    encodings_->setChoosable(page->document()->hasEncodingChoice());
    encodings_->setChoice(page->document()->encodingChoice());
}

} // namespace korvane
