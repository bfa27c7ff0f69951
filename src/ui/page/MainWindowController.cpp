#include "ui/page/MainWindowController.h"

#include "core/FileObserverProtocol.h"
#include "core/Preferences.h"
#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "documents/LoadProgressController.h"
#include "foundation/FilePath.h"
#include "ui/desktop/EmailComposer.h"
#include "ui/desktop/FileService.h"
#include "ui/desktop/TerminalHandOff.h"
#include "ui/page/ConditionStrip.h"
#include "ui/page/ConnectionStrip.h"
#include "ui/page/EncodingMenu.h"
#include "ui/page/FileInfoPopover.h"
#include "ui/page/FileWatch.h"
#include "ui/page/FooterViewController.h"
#include "ui/page/LineCopier.h"
#include "ui/page/LogSearch.h"
#include "ui/page/LogViewController.h"
#include "ui/page/NoticeStrip.h"
#include "ui/page/OverviewStrip.h"
#include "ui/page/ShownRows.h"
#include "ui/page/ViewPlace.h"
#include "ui/widgets/ProgressStrip.h"
#include "ui/widgets/WidgetIds.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPointer>
#include <QTime>
#include <QVBoxLayout>

#include <utility>

namespace korvane {
namespace {

using namespace std::chrono_literals;

constexpr auto progressInterval = 50ms;
/// Delay before progress is shown; shorter loads show none.
constexpr auto progressDelay = 300ms;

} // namespace

MainWindowController::MainWindowController(std::shared_ptr<Document> document, AlertPresenter& alerts,
                                           QWidget* parent)
    : QWidget(parent), document_(std::move(document)), alerts_(alerts),
      logView_(new LogViewController(document_, alerts, this)), connectionStrip_(new ConnectionStrip(this)),
      noticeStrip_(new NoticeStrip(this)), conditionStrip_(new ConditionStrip(logView_->shownRows(), this)),
      overviewStrip_(new OverviewStrip(this)), emptyReason_(new QLabel(&logView_->tableView())),
      loadStrip_(new ProgressStrip(this)), copyStrip_(new ProgressStrip(this)),
      footer_(new FooterViewController(this)), notices_(*document_) {
    layOut();
    document_->setWindow(idOf(this));
    connectParts();
    connectOverview();
    subscribe();
    takeSlowRules();
    showConnection();
    // The file may have been read already, and nothing is connected to this page's signals yet.
    QMetaObject::invokeMethod(
        this, [this] { loadStateChanged(); }, Qt::QueuedConnection);
}

void MainWindowController::connectOverview() {
    const auto showContent = [this] { overviewStrip_->setContent(logView_->shownRows().overview()); };
    const auto showStrip = [this] {
        overviewStrip_->setVisible(logView_->shownRows().canHaveConditions() &&
                                   Preferences::shared().showsOverview());
    };
    connect(&logView_->search(), &LogSearch::countChanged, overviewStrip_, showContent);
    connect(&logView_->shownRows(), &ShownRows::marksChanged, overviewStrip_, showContent);
    connect(logView_, &LogViewController::rowCountChanged, overviewStrip_, showContent);
    connect(overviewStrip_, &OverviewStrip::lineChosen, logView_,
            [this](qint64 line) { logView_->goToLine(line + 1); });
    overviewToken_ = Preferences::shared().observe([showStrip](const QString& key) {
        if (key == Preferences::keyShowsOverview.key)
            showStrip();
    });
    showContent();
    showStrip();
}

void MainWindowController::layOut() {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(connectionStrip_);
    layout->addWidget(noticeStrip_);
    layout->addWidget(conditionStrip_);
    auto* log = new QHBoxLayout;
    log->setSpacing(0);
    log->addWidget(&logView_->tableView(), 1);
    log->addWidget(overviewStrip_);
    layout->addLayout(log, 1);
    layout->addWidget(loadStrip_);
    layout->addWidget(copyStrip_);
    layout->addWidget(footer_);
    setFocusProxy(&logView_->tableView());
    emptyReason_->setTextFormat(Qt::PlainText);
    emptyReason_->setWordWrap(true);
    emptyReason_->setAlignment(Qt::AlignCenter);
    emptyReason_->setAttribute(Qt::WA_TransparentForMouseEvents);
    emptyReason_->hide();
}

void MainWindowController::connectParts() {
    connect(noticeStrip_, &NoticeStrip::remedyChosen, this, &MainWindowController::remedy);
    connect(noticeStrip_, &NoticeStrip::dismissed, this, [this] {
        notices_.dismissCurrent();
        showNotices();
    });
    connect(connectionStrip_, &ConnectionStrip::connectRequested, this,
            &MainWindowController::connectToServer);
    connect(loadStrip_, &ProgressStrip::cancelled, this, [this] {
        document_->cancelLoading();
        // A remote file can be connected again later.
        if (document_->connectionState() == ConnectionState::Local)
            Q_EMIT loadCancelled();
    });
    connect(copyStrip_, &ProgressStrip::cancelled, this, [this] { logView_->copier().cancel(); });
    connect(&logView_->copier(), &LineCopier::progress, this, [this](int percent) {
        if (percent < 0)
            copyStrip_->finish({});
        else
            copyStrip_->showProgress(tr("Copying lines"), percent);
    });
    connect(logView_, &LogViewController::rowCountChanged, this, [this] { updateFooter(); });
    connect(footer_, &FooterViewController::showAllRequested, this, [this] {
        logView_->shownRows().setConditions({});
        Preferences::shared().setHiddenLines(HiddenLines::AsFiltered);
    });
    connect(conditionStrip_, &ConditionStrip::ruleRequested, this,
            &MainWindowController::rulesEditorRequested);
    connect(logView_, &LogViewController::rowsArrived, this, [this] { updateFooter(); });
    connect(logView_, &LogViewController::userMessage, this,
            [this](const QString& text) { showUserUpdate(text); });
    connect(logView_, &LogViewController::userMessageOver, footer_, &FooterViewController::endUserUpdate);
    connect(&progressTimer_, &QTimer::timeout, this, [this] { updateProgress(); });
    auto* const fileWatch = new FileWatch(
        document_, [this] { return isVisible() && !window()->isMinimized(); }, this);
    connect(fileWatch, &FileWatch::checked, this, [this](FileFault fault) {
        notices_.setFault(fault);
        updateFooter();
    });
    connect(footer_, &FooterViewController::fileInfoRequested, this, [this] { showFileInfo(); });
}

bool MainWindowController::canShowLinesByText() const {
    return logView_->shownRows().canHaveConditions();
}

void MainWindowController::showOnlyLinesWith(const QString& text) {
    conditionStrip_->add(ShownLines::Condition::Kind::Only, text);
}

void MainWindowController::showLinesWithout(const QString& text) {
    conditionStrip_->add(ShownLines::Condition::Kind::Without, text);
}

void MainWindowController::subscribe() {
    DocumentNotices& notices = document_->notices();
    subscriptions_.push_back(notices.loadStateChanged.subscribe([this] { loadStateChanged(); }));
    subscriptions_.push_back(notices.tailingChanged.subscribe([this] { tailingHasChanged(); }));
    subscriptions_.push_back(notices.connectionStateChanged.subscribe([this] { showConnection(); }));
    subscriptions_.push_back(
        notices.userUpdate.subscribe([this](const QString& text) { showUserUpdate(text); }));
    subscriptions_.push_back(
        notices.fileStatusChanged.subscribe([this](FileStatus status) { fileStatusChanged(status); }));
    subscriptions_.push_back(notices.slowRulesChanged.subscribe([this] {
        if (document_->isClosed())
            return;
        takeSlowRules();
        showNotices();
    }));
    preferencesToken_ = Preferences::shared().observe([this](const QString& key) {
        if (key == Preferences::keyPollingInterval)
            updateFooter();
    });
}

MainWindowController::~MainWindowController() {
    document_->setWindow({});
}

bool MainWindowController::canConnect() const {
    const ConnectionState state = document_->connectionState();
    return state == ConnectionState::Unconnected || state == ConnectionState::Lost;
}

void MainWindowController::connectToServer() {
    if (canConnect())
        document_->reconnect();
}

void MainWindowController::showConnection() {
    if (document_->isClosed())
        return;
    QString fault = document_->openFault();
    if (document_->triesToConnect())
        fault = tr("%1. Trying again…").arg(fault);
    connectionStrip_->showState(document_->connectionState(), document_->fileUrl().host(QUrl::FullyDecoded),
                                fault);
    updateFooter();
    Q_EMIT connectionChanged();
}

bool MainWindowController::canReload() const {
    return document_->connectionState() == ConnectionState::Local &&
           (!document_->isTransient() || isInputReloadable_);
}

void MainWindowController::reload() {
    if (document_->isClosed() || !canReload())
        return;
    notices_.readAnew();
    logView_->viewPlace().keepWhileReading();
    if (isInputReloadable_)
        Q_EMIT inputReloadRequested();
    document_->reload();
    updateFooter();
}

bool MainWindowController::isLoading() const {
    return document_->isLoading() && document_->connectionState() != ConnectionState::Unconnected;
}

void MainWindowController::setSourceStatus(const QString& text) {
    sourceStatus_ = text;
    updateFooter();
}

void MainWindowController::showFileInfo() {
    if (document_->isClosed())
        return;
    auto* popover = new FileInfoPopover(*document_, logView_->lineCount(), this);
    popover->showAbove(*footer_);
}

void MainWindowController::shareByEmail() {
    if (document_->isTransient()) {
        showUserUpdate(tr("What came by a pipe is no file that could be attached"));
        return;
    }
    XdgEmailComposer composer(alerts_, idOf(this));
    FileService(document_).share(composer);
}

void MainWindowController::openTerminal() {
    if (document_->isTransient())
        showUserUpdate(tr("What came by a pipe lies in no folder that a terminal could open in"));
    else
        handOffToTerminal(document_->fileUrl(), alerts_, idOf(this));
}

void MainWindowController::showUserUpdate(const QString& text) {
    footer_->showUserUpdate(text);
}

void MainWindowController::loadStateChanged() {
    if (document_->isClosed())
        return;
    if (isLoading()) {
        progressTimer_.start(progressInterval);
        updateFooter();
        return;
    }
    progressTimer_.stop();
    if (document_->loadState() == LoadState::Waiting)
        return; // not connected yet
    loadStrip_->finish(document_->loadProgress()->statusText());
    logView_->loadEnded();
    if (Preferences::shared().openAtEnd() && Preferences::shared().startTailingOnFileOpen() &&
        !std::exchange(hasLoaded_, true) && logView_->isAtStart())
        logView_->goToLastLine();
    updateFooter();
    Q_EMIT loadEnded();
}

void MainWindowController::updateProgress() {
    if (document_->isClosed())
        return;
    const auto progress = document_->loadProgress();
    if (progress->elapsed() < progressDelay)
        return;
    const auto total = progress->totalBytes();
    loadStrip_->showProgress(
        progress->statusText(),
        total == 0 ? -1
                   : static_cast<int>(std::min<std::uint64_t>(100, progress->readBytes() * 100 / total)));
}

void MainWindowController::updateFooter() {
    if (document_->isClosed())
        return;
    footer_->setFileName(document_->displayName(), document_->displayPlace());
    const bool tails = isTailing();
    // The strip, or the text in place of the rows, says why.
    const bool isHindered = tails && !document_->openFault().isEmpty();
    footer_->setStatus(tails && !isHindered ? QStringLiteral("bullet_green") : QStringLiteral("bullet_red"),
                       isHindered ? tr("Cannot follow")
                       : tails    ? tr("Polling (%1s)")
                                     .arg(QString::number(Preferences::shared().pollingInterval(), 'g',
                                                          QLocale::FloatingPointShortest))
                               : tr("Stopped"));
    const ShownRows& shown = logView_->shownRows();
    footer_->setLineCount(logView_->lineCount() - (logView_->endsWithEmptyRow() ? 1 : 0),
                          shown.leavesOut() ? std::optional(FooterViewController::Shown{
                                                  shown.unhiddenRowCount(), shown.percentExamined()})
                                            : std::nullopt);
    footer_->setFileSize(document_->knownFileSize());
    footer_->setEncodingName(encodingName(document_->fileEncoding()));
    footer_->setStanding(sourceStatus_, false);
    showNotices();
}

void MainWindowController::showNotices() {
    notices_.setHasInvalidLines(document_->dataSource()->hasInvalidLines());
    notices_.setOffersLeavingOut(Preferences::shared().offersToLeaveOut() &&
                                 logView_->shownRows().couldLeaveOut());
    noticeStrip_->showNotice(notices_.current());
    emptyReason_->setText(document_->openFault());
    placeEmptyReason();
}

void MainWindowController::placeEmptyReason() {
    const bool isEmpty = !emptyReason_->text().isEmpty() && logView_->lineCount() <= 1;
    emptyReason_->setVisible(isEmpty);
    if (!isEmpty)
        return;
    QPalette colors = emptyReason_->palette();
    colors.setColor(QPalette::WindowText, Preferences::shared().logViewForeground());
    emptyReason_->setPalette(colors);
    const QRect room = logView_->tableView().rect();
    const int margin = room.width() / 8;
    emptyReason_->setGeometry(room.adjusted(margin, room.height() / 6, -margin, -room.height() / 2));
}

void MainWindowController::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // After the layout has been updated.
    QMetaObject::invokeMethod(
        this, [this] { placeEmptyReason(); }, Qt::QueuedConnection);
}

void MainWindowController::showStoreFault(const QString& text) {
    notices_.setStoreFault(text);
    showNotices();
}

void MainWindowController::setInputPause(const QString& reason) {
    notices_.setInputPause(reason);
    showNotices();
}

void MainWindowController::setInputReloadable(bool value) {
    isInputReloadable_ = value;
}

void MainWindowController::remedy(PageNotice::Remedy remedy) {
    switch (remedy) {
    case PageNotice::Remedy::Reload:
        reload();
        break;
    case PageNotice::Remedy::ChooseEncoding:
        chooseEncoding();
        break;
    case PageNotice::Remedy::LeaveOut:
        Preferences::shared().setOffersToLeaveOut(false);
        Preferences::shared().setHiddenLines(HiddenLines::LeftOut);
        break;
    case PageNotice::Remedy::EditRules:
        Q_EMIT rulesEditorRequested({});
        break;
    case PageNotice::Remedy::GoOn:
        Q_EMIT inputGoOnRequested();
        break;
    case PageNotice::Remedy::End:
        Q_EMIT inputEndRequested();
        break;
    case PageNotice::Remedy::CopyText:
        QGuiApplication::clipboard()->setText(noticeStrip_->notice().text);
        break;
    }
}

void MainWindowController::takeSlowRules() {
    if (const auto enforcer = document_->dataSource()->ruleEnforcer())
        notices_.setSlowRules(enforcer->slowRules());
}

void MainWindowController::chooseEncoding() {
    auto* menu = new EncodingMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setChoice(document_->encodingChoice());
    connect(menu, &EncodingMenu::chosen, this,
            [this](EncodingChoice choice) { logView_->setEncodingChoice(choice); });
    menu->popup(noticeStrip_->mapToGlobal(noticeStrip_->rect().bottomRight()) -
                QPoint(menu->sizeHint().width(), 0));
}

// ---- Following

bool MainWindowController::isTailing() const {
    return document_->isFollowed();
}

void MainWindowController::startTailing() {
    document_->startTailingWhenLoaded();
    logView_->goToLastLine();
}

void MainWindowController::stopTailing() {
    document_->stopTailing();
}

void MainWindowController::tailingHasChanged() {
    notices_.followingChanged(isTailing());
    updateFooter();
    Q_EMIT tailingChanged();
}

void MainWindowController::fileStatusChanged(FileStatus status) {
    notices_.setStatus(status, QTime::currentTime());
    updateFooter();
}

} // namespace korvane
