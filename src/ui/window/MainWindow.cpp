#include "ui/window/MainWindow.h"

#include "core/Preferences.h"
#include "documents/AppDocumentController.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "ui/desktop/ExternalProgram.h"
#include "ui/page/LogAppearance.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"
#include "ui/tabs/DocumentTab.h"
#include "ui/tabs/DocumentTabs.h"
#include "ui/window/DroppedFiles.h"
#include "ui/window/MainToolBar.h"
#include "ui/window/OpenFiles.h"
#include "ui/window/SidebarTabViewController.h"
#include "ui/window/WindowActions.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QTabBar>
#include <QTimer>
#include <QVBoxLayout>

namespace korvane {
namespace {

constexpr QSize firstSize(1180, 760);
/// Maximum share of the screen; the rest is for the window frame.
constexpr double mostOfScreen = 0.92;
/// Delay for saving the sidebar's width after the user has stopped dragging, in milliseconds.
constexpr int widthSaveDelay = 300;
const QString sidebarWidthKey = QStringLiteral("sidebarWidth");
const QString lastGeometryKey = QStringLiteral("windowGeometry");

} // namespace

MainWindow::MainWindow(AppDocumentController& documents, AlertPresenter& alerts)
    : documents_(documents), alerts_(alerts), mainSplitViewController_(new QSplitter(this)),
      sidebar_(new SidebarTabViewController(documents, alerts, mainSplitViewController_)),
      stack_(new QStackedWidget(this)), tabs_(new DocumentTabs(this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setAcceptDrops(true);
    restoreWindowGeometry();
    stack_->addWidget(makeEmptyPage());
    stack_->addWidget(tabs_);
    mainSplitViewController_->setChildrenCollapsible(false);
    mainSplitViewController_->setHandleWidth(1);
    mainSplitViewController_->addWidget(stack_);
    mainSplitViewController_->setStretchFactor(0, 0);
    mainSplitViewController_->setStretchFactor(1, 1);
    setCentralWidget(mainSplitViewController_);
    connect(sidebar_, &SidebarTabViewController::lineRequested, this, [this](qint64 lineNumber) {
        if (MainWindowController* page = currentPage())
            page->logView().goToMarkedLine(lineNumber);
    });
    const double width = Preferences::shared().userDefaults().doubleForKey(sidebarWidthKey);
    if (width > 0)
        mainSplitViewController_->setSizes({static_cast<int>(width), 10 * static_cast<int>(width)});
    sidebar_->setVisible(Preferences::shared().showSidebarOnFileOpen());
    auto* savesWidth = new QTimer(this);
    savesWidth->setSingleShot(true);
    savesWidth->setInterval(widthSaveDelay);
    connect(mainSplitViewController_, &QSplitter::splitterMoved, savesWidth, qOverload<>(&QTimer::start));
    connect(savesWidth, &QTimer::timeout, this, [this] {
        Preferences::shared().userDefaults().set(
            sidebarWidthKey, static_cast<double>(mainSplitViewController_->sizes().front()));
    });
    connect(tabs_, &DocumentTabs::currentTabChanged, this, &MainWindow::pageChanged);
    connect(tabs_, &DocumentTabs::tabsChanged, this, [this] {
        updateTitle();
        actions_->update();
        Q_EMIT tabsChanged();
    });
    connect(tabs_, &DocumentTabs::closeRequested, this, &MainWindow::closeTabs);
    connect(tabs_, &DocumentTabs::copyPathRequested, this,
            [](const QUrl& url) { QApplication::clipboard()->setText(displayAddress(url)); });
    connect(tabs_, &DocumentTabs::openFolderRequested, this, &MainWindow::openFolder);
    auto* toolBar = new MainToolBar(this);
    actions_ = new WindowActions(*this, documents_, *toolBar);
    addToolBar(toolBar);
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

DocumentTab* MainWindow::addTab(const QUrl& url) {
    auto* tab = new DocumentTab(url, alerts_, tabs_);
    connect(tab, &DocumentTab::pageMade, this, &MainWindow::addPage);
    connect(tab, &DocumentTab::placeChanged, this, &MainWindow::placeChanged);
    tabs_->add(tab);
    return tab;
}

void MainWindow::addPage(MainWindowController* page) {
    page->logView().setContextMenu(actions_->contextMenu());
    for (const auto signal : {&LogAppearance::wrappingChanged, &LogAppearance::lineNumbersChanged})
        connect(&page->logView().appearance(), signal, actions_, &WindowActions::update);
    for (const auto signal : {&LogViewController::selectionChanged, &LogViewController::rowCountChanged})
        connect(&page->logView(), signal, actions_, &WindowActions::update);
    connect(page, &MainWindowController::tailingChanged, actions_, &WindowActions::update);
    connect(page, &MainWindowController::connectionChanged, actions_, &WindowActions::update);
    connect(page, &MainWindowController::rulesEditorRequested, this, &MainWindow::rulesEditorRequested);
    Q_EMIT pageMade(page);
}

MainWindowController* MainWindow::currentPage() const {
    const DocumentTab* tab = tabs_->current();
    return tab ? tab->page() : nullptr;
}

void MainWindow::raiseTab(DocumentTab* tab) {
    tabs_->setCurrent(tab);
    setWindowState(windowState() & ~Qt::WindowMinimized);
    raise();
    activateWindow();
    tab->setFocus();
    for (auto* question : findChildren<QDialog*>()) {
        if (!question->isModal() || !question->isVisible())
            continue;
        question->raise();
        question->activateWindow();
    }
}

void MainWindow::raisePage(MainWindowController* page) {
    raiseTab(tabs_->tabOf(*page->document()));
}

void MainWindow::closeTabs(const std::vector<DocumentTab*>& tabs) {
    const DocumentBatch batch(documents_);
    for (DocumentTab* tab : tabs) {
        if (const auto document = tab->document())
            documents_.closeDocument(document);
        else
            tabs_->remove(tab);
    }
    if (tabs_->count() == 0)
        Q_EMIT lastTabClosed();
}

void MainWindow::closeCurrentTab() {
    if (DocumentTab* tab = tabs_->current())
        closeTabs({tab});
}

void MainWindow::pageChanged() {
    DocumentTab* tab = tabs_->current();
    if (tab && tab->state() == DocumentTab::State::Unread) {
        Q_EMIT unreadTabShown(tab);
        // The page was made with the document, and this function has already run for it.
        if (tab->document())
            return;
    }
    MainWindowController* page = currentPage();
    stack_->setCurrentIndex(tab ? 1 : 0);
    // Keep the focus in the tab bar while the user switches tabs by arrow keys.
    if (tab && !tabs_->tabBar()->hasFocus())
        tab->setFocus();
    if (page)
        sidebar_->setFile(page->document()->fileUrl(), !page->document()->isTransient());
    else
        sidebar_->setFile({}, false);
    actions_->pageChanged();
    updateTitle();
    Q_EMIT currentPageChanged();
    Q_EMIT tabsChanged();
}

void MainWindow::updateTitle() {
    const QString name = QApplication::applicationDisplayName();
    const QString title = tabs_->currentTitle();
    setWindowTitle(title.isEmpty() ? name : title + QStringLiteral(" – ") + name);
}

void MainWindow::openFolder(const QUrl& url) {
    const QPointer<MainWindow> self(this);
    const QByteArray path = localPath(url);
    const QByteArray folder = path.left(std::max<qsizetype>(path.lastIndexOf('/'), 1));
    startProgram({"xdg-open", {folder}}, [self](const ProgramEnd& end) {
        MainWindowController* page = self && !end.isGood() ? self->currentPage() : nullptr;
        if (page)
            page->showUserUpdate(tr("The folder cannot be opened: no file manager has answered"));
    });
}

bool MainWindow::isSidebarShown() const {
    return !sidebar_->isHidden();
}

void MainWindow::setSidebarShown(bool shown) {
    sidebar_->setVisible(shown);
    actions_->update();
}

void MainWindow::bookmarkFile() {
    MainWindowController* page = currentPage();
    if (!page)
        return;
    if (page->document()->isTransient()) {
        page->showUserUpdate(tr("What came by a pipe is no file that could be found again"));
        return;
    }
    setSidebarShown(true);
    sidebar_->addBookmark(page->document()->fileUrl());
}

void MainWindow::closeEvent(QCloseEvent* event) {
    Preferences::shared().userDefaults().set(lastGeometryKey, saveGeometry());
    Q_EMIT aboutToClose();
    const DocumentBatch batch(documents_);
    for (const DocumentTab* tab : tabs_->tabs()) {
        if (const auto document = tab->document())
            documents_.closeDocument(document);
    }
    event->accept();
}

void MainWindow::restoreWindowGeometry() {
    const QByteArray geometry = Preferences::shared().userDefaults().value(lastGeometryKey).toByteArray();
    if (geometry.isEmpty() || !restoreGeometry(geometry))
        resize(firstSize.boundedTo(screen()->availableSize() * mostOfScreen));
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (holdsFiles(*event->mimeData()))
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    openDroppedFiles(*event->mimeData(), documents_);
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        Q_EMIT activated();
}

void MainWindow::moveEvent(QMoveEvent* event) {
    QMainWindow::moveEvent(event);
    Q_EMIT placeChanged();
}

void MainWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    Q_EMIT placeChanged();
}

// ---- Dialogs

void MainWindow::openFiles() {
    const MainWindowController* page = currentPage();
    askForFiles(documents_, this, page ? page->document()->fileUrl() : QUrl());
}

void MainWindow::showAbout() {
    QMessageBox::about(this, tr("About Korvane"),
                       tr("<h3>Korvane %1</h3><p>Shows log files of any size, at once, and follows them.</p>"
                          "<p>MIT licence. Built with Qt %2.</p>")
                           .arg(QStringLiteral(KORVANE_VERSION), QString::fromLatin1(qVersion())));
}

} // namespace korvane
