#include "ui/MainWindow.h"

#include "core/NotificationNames.h"
#include "core/Preferences.h"
#include "core/SearchItem.h"
#include "documents/AppDocumentController.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "rules/FilterRule.h"
#include "rules/FiltersManager.h"
#include "rules/RuleSwitch.h"
#include "ui/LogViewController.h"
#include "ui/MainWindowController.h"
#include "ui/TabTitles.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace korvane {
namespace {

constexpr QSize firstSize(1180, 760);
constexpr int ruleTextWidth = 320;

} // namespace

MainWindow::MainWindow(AppDocumentController& documents)
    : documents_(documents), stack_(new QStackedWidget(this)), tabs_(new QTabWidget(this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    resize(firstSize);
    tabs_->setDocumentMode(true);
    tabs_->setTabsClosable(true);
    tabs_->setMovable(true);
    tabs_->setTabBarAutoHide(true);
    tabs_->tabBar()->setElideMode(Qt::ElideMiddle);
    stack_->addWidget(makeEmptyPage());
    stack_->addWidget(tabs_);
    setCentralWidget(stack_);
    connect(tabs_, &QTabWidget::currentChanged, this, [this] { pageChanged(); });
    connect(tabs_, &QTabWidget::tabCloseRequested, this, [this](int index) {
        if (auto* page = qobject_cast<MainWindowController*>(tabs_->widget(index)))
            documents_.closeDocument(page->document());
    });
    makeMenus();
    pageChanged();
}

QWidget* MainWindow::makeEmptyPage() {
    auto* page = new QWidget(this);
    auto* text = new QLabel(tr("No log file is open"), page);
    QFont large = text->font();
    large.setPointSizeF(large.pointSizeF() * 1.5);
    text->setFont(large);
    auto* open = new QPushButton(tr("&Open Log File…"), page);
    connect(open, &QPushButton::clicked, this, [this] { openFiles(); });
    auto* layout = new QVBoxLayout(page);
    layout->addStretch();
    layout->addWidget(text, 0, Qt::AlignHCenter);
    layout->addSpacing(8);
    layout->addWidget(open, 0, Qt::AlignHCenter);
    layout->addStretch();
    return page;
}

// ---- Pages

void MainWindow::addPage(MainWindowController* page) {
    page->logView().setContextMenu(contextMenu_);
    for (const auto signal : {&LogViewController::wrappingChanged, &LogViewController::lineNumbersChanged,
                              &LogViewController::selectionChanged})
        connect(&page->logView(), signal, this, [this] { updateActions(); });
    const int index = tabs_->addTab(page, page->document()->displayName());
    tabs_->setTabToolTip(index, displayPath(page->document()->fileUrl()));
    tabs_->setCurrentIndex(index);
    updateTitles();
    pageChanged();
}

bool MainWindow::removePage(const Document& document) {
    MainWindowController* page = pageOf(document);
    if (!page)
        return false;
    tabs_->removeTab(tabs_->indexOf(page));
    page->deleteLater();
    updateTitles();
    pageChanged();
    return true;
}

std::vector<MainWindowController*> MainWindow::pages() const {
    std::vector<MainWindowController*> all;
    for (int i = 0; i < tabs_->count(); ++i)
        all.push_back(qobject_cast<MainWindowController*>(tabs_->widget(i)));
    return all;
}

MainWindowController* MainWindow::pageOf(const Document& document) const {
    for (MainWindowController* page : pages()) {
        if (page->document().get() == &document)
            return page;
    }
    return nullptr;
}

MainWindowController* MainWindow::currentPage() const {
    return qobject_cast<MainWindowController*>(tabs_->currentWidget());
}

void MainWindow::raisePage(MainWindowController* page) {
    tabs_->setCurrentWidget(page);
    if (isMinimized())
        showNormal();
    raise();
    activateWindow();
    page->setFocus();
}

void MainWindow::pageChanged() {
    MainWindowController* page = currentPage();
    stack_->setCurrentIndex(page ? 1 : 0);
    if (page)
        page->setFocus();
    updateActions();
    updateTitles();
    if (rulesMenu_)
        showRulesInMenu();
    Q_EMIT currentPageChanged();
}

void MainWindow::updateTitles() {
    QStringList names;
    QStringList paths;
    for (const MainWindowController* page : pages()) {
        names.append(page->document()->displayName());
        paths.append(displayPath(page->document()->fileUrl()));
    }
    const QStringList titles = tabTitles(names, paths);
    for (int i = 0; i < tabs_->count(); ++i) {
        // An ampersand in a tab's text would become a mnemonic.
        tabs_->setTabText(i, QString(titles[i]).replace(u'&', QStringLiteral("&&")));
    }
    const QString name = QApplication::applicationDisplayName();
    setWindowTitle(tabs_->currentIndex() < 0 ? name
                                             : titles[tabs_->currentIndex()] + QStringLiteral(" – ") + name);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    Q_EMIT aboutToClose();
    for (MainWindowController* page : pages())
        documents_.closeDocument(page->document());
    event->accept();
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        Q_EMIT activated();
}

// ---- Menus

QAction* MainWindow::addPageAction(QMenu& menu, const QString& text, const QKeySequence& shortcut,
                                   const std::function<void(MainWindowController&)>& action) {
    QAction* added = menu.addAction(text, this, [this, action] {
        if (MainWindowController* page = currentPage())
            action(*page);
    });
    added->setShortcut(shortcut);
    pageActions_.push_back(added);
    return added;
}

void MainWindow::makeMenus() {
    contextMenu_ = new QMenu(this);
    makeFileMenu();
    makeEditMenu();
    makeViewMenu();
    makeGoMenu();
    makeRulesMenu();
    makeHelpMenu();
}

void MainWindow::makeFileMenu() {
    QMenu& menu = *menuBar()->addMenu(tr("&File"));
    menu.addAction(tr("&Open…"), QKeySequence::Open, this, [this] { openFiles(); });
    menu.addSeparator();
    addPageAction(menu, tr("&Close"), QKeySequence::Close,
                  [this](MainWindowController& page) { documents_.closeDocument(page.document()); });
    addPageAction(menu, tr("Close &All"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_W),
                  [this](MainWindowController&) { documents_.closeAllDocuments(); });
    menu.addSeparator();
    menu.addAction(tr("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q), qApp, &QApplication::closeAllWindows);
}

void MainWindow::makeEditMenu() {
    QMenu& menu = *menuBar()->addMenu(tr("&Edit"));
    copyAction_ = addPageAction(menu, tr("&Copy"), QKeySequence::Copy,
                                [](MainWindowController& page) { page.logView().copySelection(); });
    QAction* selectAll = addPageAction(menu, tr("Select &All"), QKeySequence::SelectAll,
                                       [](MainWindowController& page) { page.logView().selectAll(); });
    contextMenu_->addAction(copyAction_);
    contextMenu_->addAction(selectAll);
    contextMenu_->addSeparator();
}

void MainWindow::makeViewMenu() {
    QMenu& menu = *menuBar()->addMenu(tr("&View"));
    wrapAction_ = addPageAction(
        menu, tr("&Wrap Lines"), QKeySequence(Qt::ALT | Qt::Key_Z),
        [](MainWindowController& page) { page.logView().setWrappingLines(!page.logView().wrappingLines()); });
    wrapAction_->setCheckable(true);
    lineNumbersAction_ =
        addPageAction(menu, tr("Hide Line &Numbers"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_L),
                      [](MainWindowController& page) {
                          Preferences::shared().setShowLineNumbers(!page.logView().showsLineNumbers());
                      });
    quickHighlightAction_ =
        addPageAction(menu, tr("&Highlight Selected Text"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_H),
                      [this](MainWindowController& page) {
                          page.logView().setQuickHighlightEnabled(!page.logView().quickHighlightEnabled());
                          updateActions();
                      });
    quickHighlightAction_->setCheckable(true);
    menu.addSeparator();
    QAction* zoomIn = addPageAction(menu, tr("&Larger Text"), {},
                                    [](MainWindowController& page) { page.logView().zoom(1); });
    // With and without the shift key that "+" needs on many keyboards.
    zoomIn->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Plus), QKeySequence(Qt::CTRL | Qt::Key_Equal)});
    addPageAction(menu, tr("&Smaller Text"), QKeySequence(Qt::CTRL | Qt::Key_Minus),
                  [](MainWindowController& page) { page.logView().zoom(-1); });
    addPageAction(menu, tr("Normal Text &Size"), QKeySequence(Qt::CTRL | Qt::Key_0),
                  [](MainWindowController& page) { page.logView().resetZoom(); });
    menu.addSeparator();
    makeEncodingMenu(menu);
    menu.addSeparator();
    menu.addAction(tr("&Full Screen"), QKeySequence::FullScreen, this,
                   [this] { setWindowState(windowState() ^ Qt::WindowFullScreen); });
    contextMenu_->addAction(wrapAction_);
    contextMenu_->addAction(lineNumbersAction_);
}

void MainWindow::makeEncodingMenu(QMenu& viewMenu) {
    QMenu* menu = viewMenu.addMenu(tr("Text &Encoding"));
    pageActions_.push_back(menu->menuAction());
    encodings_ = new QActionGroup(this);
    const auto add = [&](const QString& text, EncodingChoice choice) {
        QAction* action = menu->addAction(text);
        action->setCheckable(true);
        action->setData(QVariant::fromValue(choice));
        encodings_->addAction(action);
    };
    add(tr("&Automatic"), {});
    add(tr("UTF-8, show invalid bytes as �"), {EncodingChoice::Kind::LenientUtf8, encoding::utf8});
    menu->addSeparator();
    for (const StringEncoding known : knownEncodings())
        add(encodingName(known), {EncodingChoice::Kind::Fixed, known});
    connect(encodings_, &QActionGroup::triggered, this, [this](const QAction* action) {
        if (MainWindowController* page = currentPage())
            page->logView().setEncodingChoice(action->data().value<EncodingChoice>());
    });
}

void MainWindow::makeGoMenu() {
    QMenu& menu = *menuBar()->addMenu(tr("&Go"));
    QAction* goToLine =
        addPageAction(menu, tr("Go to &Line…"), QKeySequence(Qt::CTRL | Qt::Key_G),
                      [](MainWindowController& page) { page.logView().performGotoLineMenuAction(); });
    menu.addSeparator();
    addPageAction(menu, tr("&First Line"), QKeySequence(Qt::CTRL | Qt::Key_Home),
                  [](MainWindowController& page) {
                      page.logView().tableView().setTopRow(0);
                      page.logView().tableView().selectRow(0);
                  });
    addPageAction(menu, tr("L&ast Line"), QKeySequence(Qt::CTRL | Qt::Key_End),
                  [](MainWindowController& page) {
                      page.logView().tableView().scrollToEnd();
                      page.logView().tableView().selectRow(page.logView().tableView().rowCount() - 1);
                  });
    contextMenu_->addSeparator();
    contextMenu_->addAction(goToLine);
}

void MainWindow::makeRulesMenu() {
    rulesMenu_ = menuBar()->addMenu(tr("&Rules"));
    rulesMenu_->addAction(tr("&Edit Rules…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R), this,
                          [this] { Q_EMIT rulesEditorRequested({}); });
    QAction* newRule = addPageAction(
        *rulesMenu_, tr("&New Rule from Selection…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N),
        [this](MainWindowController& page) { Q_EMIT rulesEditorRequested(page.logView().textForNewRule()); });
    hideUnclaimedAction_ =
        addPageAction(*rulesMenu_, tr("&Hide Lines That No Rule Claims"),
                      QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_U), [](MainWindowController& page) {
                          page.logView().setHidesUnclaimedLines(!page.logView().hidesUnclaimedLines());
                      });
    hideUnclaimedAction_->setCheckable(true);
    rulesMenu_->addSeparator();
    contextMenu_->addSeparator();
    contextMenu_->addAction(newRule);
    auto& center = NotificationCenter::shared();
    for (const QString& name : {notification::filterManager, notification::activeRulesChanged})
        tokens_.push_back(center.observe(name, [this](const Notification&) { showRulesInMenu(); }));
    showRulesInMenu();
}

void MainWindow::showRulesInMenu() {
    MainWindowController* page = currentPage();
    const QString key = page ? absoluteString(page->document()->fileUrl()) : QString();
    const auto& rules = FiltersManager::shared().rules();
    while (ruleActions_.size() > rules.size()) {
        delete ruleActions_.back();
        ruleActions_.pop_back();
    }
    while (ruleActions_.size() < rules.size()) {
        QAction* action = rulesMenu_->addAction(QString());
        action->setCheckable(true);
        connect(action, &QAction::triggered, this, [this, action] { toggleRule(action->data().toUuid()); });
        // The first nine are at hand by their number.
        if (ruleActions_.size() < 9)
            action->setShortcut(
                QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + ruleActions_.size())));
        ruleActions_.push_back(action);
    }
    for (std::size_t i = 0; i < rules.size(); ++i) {
        const FilterRule& rule = *rules[i];
        const QString text =
            fontMetrics().elidedText(rule.searchItem()->searchStr(), Qt::ElideRight, ruleTextWidth);
        ruleActions_[i]->setText(QString(text).replace(u'&', QStringLiteral("&&")));
        ruleActions_[i]->setData(rule.id());
        ruleActions_[i]->setEnabled(page != nullptr);
        ruleActions_[i]->setChecked(isRuleActive(rule.id(), key));
    }
    hideUnclaimedAction_->setChecked(page && page->logView().hidesUnclaimedLines());
}

void MainWindow::toggleRule(const QUuid& id) {
    const MainWindowController* page = currentPage();
    if (!page)
        return;
    const QString key = absoluteString(page->document()->fileUrl());
    switchRule(id, key, !isRuleActive(id, key));
}

void MainWindow::makeHelpMenu() {
    QMenu& menu = *menuBar()->addMenu(tr("&Help"));
    menu.addAction(tr("&About Korvane"), this, [this] { showAbout(); });
}

void MainWindow::updateActions() {
    MainWindowController* page = currentPage();
    for (QAction* action : pageActions_)
        action->setEnabled(page != nullptr);
    if (!page)
        return;
    LogViewController& logView = page->logView();
    copyAction_->setEnabled(logView.canCopy());
    wrapAction_->setChecked(logView.wrappingLines());
    lineNumbersAction_->setText(logView.showsLineNumbers() ? tr("Hide Line &Numbers")
                                                           : tr("Show Line &Numbers"));
    quickHighlightAction_->setChecked(logView.quickHighlightEnabled());
    const EncodingChoice choice = page->document()->logReader()->encodingChoice();
    for (QAction* action : encodings_->actions()) {
        if (action->data().value<EncodingChoice>() == choice)
            action->setChecked(true);
    }
}

void MainWindow::openFiles() {
    // The dialog's own texts cannot hold names that are no UTF-8; such files are opened from the command
    // line.
    auto* dialog = new QFileDialog(this, tr("Open Log Files"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    if (const MainWindowController* page = currentPage())
        dialog->setDirectory(
            QFile::decodeName(localPath(page->document()->fileUrl().adjusted(QUrl::RemoveFilename))));
    connect(dialog, &QFileDialog::filesSelected, this, [this](const QStringList& files) {
        for (const QString& file : files)
            documents_.openDocument(fileUrlFromPath(QFile::encodeName(file)));
    });
    dialog->open();
}

void MainWindow::showAbout() {
    QMessageBox::about(this, tr("About Korvane"),
                       tr("<h3>Korvane %1</h3><p>Shows log files of any size, at once, and follows them.</p>"
                          "<p>MIT licence. Built with Qt %2.</p>")
                           .arg(QStringLiteral(KORVANE_VERSION), QString::fromLatin1(qVersion())));
}

} // namespace korvane
