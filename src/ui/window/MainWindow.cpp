#include "ui/window/MainWindow.h"

#include "core/Preferences.h"
#include "documents/AppDocumentController.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"
#include "ui/widgets/Icons.h"
#include "ui/window/DroppedFiles.h"
#include "ui/window/MainToolBar.h"
#include "ui/window/OpenFiles.h"
#include "ui/window/SidebarTabViewController.h"
#include "ui/window/TabTitles.h"
#include "ui/window/WindowActions.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QTabBar>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace korvane {
namespace {

constexpr QSize firstSize(1180, 760);
/// What is left is for the window manager's frame.
constexpr double mostOfScreen = 0.92;
/// The width of the sidebar is saved when the user has stopped dragging for so long, in milliseconds.
constexpr int widthSaveDelay = 300;
const QString sidebarWidthKey = QStringLiteral("sidebarWidth");
const QString geometryKey = QStringLiteral("windowGeometry");
/// A page's property: lines that have come while it was not in front.
constexpr auto unseenLines = "unseenLines";

} // namespace

MainWindow::MainWindow(AppDocumentController& documents, AlertPresenter& alerts)
    : documents_(documents), mainSplitViewController_(new QSplitter(this)),
      sidebar_(new SidebarTabViewController(documents, alerts, mainSplitViewController_)),
      stack_(new QStackedWidget(this)), tabs_(new QTabWidget(this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setAcceptDrops(true);
    restoreWindowGeometry();
    tabs_->setObjectName(QStringLiteral("documents"));
    tabs_->setDocumentMode(true);
    tabs_->setTabsClosable(true);
    tabs_->setMovable(true);
    tabs_->setTabBarAutoHide(true);
    // Its tab bar would take the focus also while it is hidden, and never give it on.
    tabs_->setFocusPolicy(Qt::NoFocus);
    tabs_->setFocusProxy(nullptr);
    tabs_->tabBar()->setElideMode(Qt::ElideMiddle);
    stack_->addWidget(makeEmptyPage());
    stack_->addWidget(tabs_);
    mainSplitViewController_->setChildrenCollapsible(false);
    mainSplitViewController_->setHandleWidth(1);
    mainSplitViewController_->addWidget(stack_);
    mainSplitViewController_->setStretchFactor(0, 0);
    mainSplitViewController_->setStretchFactor(1, 1);
    setCentralWidget(mainSplitViewController_);
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
    connect(tabs_, &QTabWidget::currentChanged, this, [this] { pageChanged(); });
    connect(tabs_, &QTabWidget::tabCloseRequested, this, [this](int index) {
        if (auto* page = qobject_cast<MainWindowController*>(tabs_->widget(index)))
            documents_.closeDocument(page->document());
    });
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

void MainWindow::addPage(MainWindowController* page) {
    page->logView().setContextMenu(actions_->contextMenu());
    for (const auto signal : {&LogViewController::wrappingChanged, &LogViewController::lineNumbersChanged,
                              &LogViewController::selectionChanged, &LogViewController::rowCountChanged})
        connect(&page->logView(), signal, this, [this] { actions_->update(); });
    connect(page, &MainWindowController::tailingChanged, this, [this] { actions_->update(); });
    connect(page, &MainWindowController::connectionChanged, this, [this, page] {
        showState(*page, page->property(unseenLines).toLongLong());
        actions_->update();
    });
    connect(&page->logView(), &LogViewController::linesArrived, page,
            [this, page](qint64 count) { linesArrived(*page, count); });
    const int index = tabs_->addTab(page, page->document()->displayName());
    showState(*page, 0);
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
    if (page)
        showState(*page, 0);
    if (page)
        sidebar_->setFile(page->document()->fileUrl(), &page->logView(), !page->document()->isTransient());
    else
        sidebar_->setFile({}, nullptr, false);
    actions_->pageChanged();
    updateTitles();
    Q_EMIT currentPageChanged();
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

void MainWindow::updateTitles() {
    QStringList names;
    QStringList paths;
    for (const MainWindowController* page : pages()) {
        names.append(page->document()->displayName());
        const QUrl& url = page->document()->fileUrl();
        paths.append(url.isLocalFile() ? displayPath(url) : u'/' + url.host() + displayPath(url));
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

void MainWindow::linesArrived(MainWindowController& page, qint64 count) {
    if (&page == currentPage())
        return;
    showState(page, page.property(unseenLines).toLongLong() + count);
}

void MainWindow::showState(MainWindowController& page, qint64 count) {
    page.setProperty(unseenLines, count);
    const int index = tabs_->indexOf(&page);
    const bool isCutOff = page.canConnect();
    tabs_->setTabIcon(index, isCutOff    ? icon(QStringLiteral("bullet_red"))
                             : count > 0 ? icon(QStringLiteral("bullet_blue"))
                                         : QIcon());
    QString toolTip = displayAddress(page.document()->fileUrl());
    if (count > 0)
        toolTip +=
            u'\n' + (count == 1 ? tr("1 new line") : tr("%1 new lines").arg(QLocale().toString(count)));
    if (isCutOff)
        toolTip += u'\n' + tr("Not connected");
    tabs_->setTabToolTip(index, toolTip);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    Preferences::shared().userDefaults().set(geometryKey, saveGeometry());
    Q_EMIT aboutToClose();
    for (MainWindowController* page : pages())
        documents_.closeDocument(page->document());
    event->accept();
}

void MainWindow::restoreWindowGeometry() {
    const QByteArray geometry = Preferences::shared().userDefaults().value(geometryKey).toByteArray();
    if (geometry.isEmpty() || !restoreGeometry(geometry))
        resize(firstSize.boundedTo(screen()->availableSize() * mostOfScreen));
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (holdsFiles(*event->mimeData()))
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    for (const QUrl& url : droppedFiles(*event->mimeData()))
        documents_.openDocument(url);
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        Q_EMIT activated();
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
