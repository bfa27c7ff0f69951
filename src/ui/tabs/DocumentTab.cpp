#include "ui/tabs/DocumentTab.h"

#include "core/Preferences.h"
#include "core/RowsUpdatedNotificationObject.h"
#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "documents/LoadProgressController.h"
#include "foundation/FilePath.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"
#include "ui/widgets/WidgetIds.h"

#include <QLabel>
#include <QVBoxLayout>

#include <utility>

namespace korvane {
namespace {

constexpr int reasonMargin = 24;

} // namespace

DocumentTab::DocumentTab(QUrl url, AlertPresenter& alerts, QWidget* parent)
    : QWidget(parent), url_(std::move(url)), address_(absoluteString(url_)), alerts_(alerts),
      layout_(new QVBoxLayout(this)) {
    layout_->setContentsMargins(0, 0, 0, 0);
}

DocumentTab::~DocumentTab() {
    if (document_)
        document_->setWindow({});
}

QString DocumentTab::displayName() const {
    return document_ ? document_->displayName() : korvane::displayName(url_);
}

void DocumentTab::setDocument(std::shared_ptr<Document> document) {
    document_ = std::move(document);
    document_->setWindow(idOf(this));
    DocumentNotices& notices = document_->notices();
    subscriptions_.push_back(notices.rowsUpdated.subscribe(
        [this](const RowsUpdatedNotificationObject& update) { rowsUpdated(update); }));
    subscriptions_.push_back(notices.loadStateChanged.subscribe([this] { loadStateChanged(); }));
    subscriptions_.push_back(notices.connectionStateChanged.subscribe([this] { Q_EMIT changed(); }));
    loadStateChanged();
    document_->setShown(isInFront_);
    state_ = State::Open;
    delete std::exchange(reason_, nullptr);
    if (isInFront_)
        makePage();
    Q_EMIT changed();
}

void DocumentTab::setWaiting(const QString& reason) {
    state_ = State::Waiting;
    if (!reason_) {
        reason_ = new QLabel(this);
        reason_->setTextFormat(Qt::PlainText);
        reason_->setWordWrap(true);
        reason_->setAlignment(Qt::AlignCenter);
        reason_->setMargin(reasonMargin);
        // With the focus here the keys of the window work as in any other tab.
        reason_->setFocusPolicy(Qt::StrongFocus);
        layout_->addWidget(reason_);
        setFocusProxy(reason_);
    }
    reason_->setText(reason + QStringLiteral("\n\n") + tr("It opens here as soon as it can be opened."));
    reason_->show();
    Q_EMIT changed();
}

MainWindowController* DocumentTab::makePage() {
    if (page_ || !document_ || document_->isClosed())
        return page_;
    // The setting may have changed since the rows were prepared.
    document_->dataSource()->setQuickHighlightEnabled(Preferences::shared().quickHighlightSelection());
    page_ = new MainWindowController(document_, alerts_, this);
    layout_->addWidget(page_);
    setFocusProxy(page_);
    page_->show();
    LogViewController& logView = page_->logView();
    connect(&logView, &LogViewController::linesArrived, this, &DocumentTab::noteNewLines);
    connect(&logView.tableView(), &LogTableView::visibleRowsChanged, this, &DocumentTab::placeChanged);
    connect(page_, &MainWindowController::inputGoOnRequested, this, &DocumentTab::inputGoOnRequested);
    connect(page_, &MainWindowController::inputEndRequested, this, &DocumentTab::inputEndRequested);
    connect(page_, &MainWindowController::inputReloadRequested, this, &DocumentTab::inputReloadRequested);
    page_->setSourceStatus(sourceStatus_);
    page_->setInputPause(inputPause_);
    page_->setInputReloadable(isInputReloadable_);
    Q_EMIT pageMade(page_);
    if (line_)
        logView.viewPlace().goToLineWhenKnown(*std::exchange(line_, std::nullopt));
    else if (place_)
        logView.viewPlace().restore(*place_);
    place_.reset();
    return page_;
}

void DocumentTab::setInFront(bool isInFront) {
    isInFront_ = isInFront;
    if (document_)
        document_->setShown(isInFront);
    if (!isInFront)
        return;
    makePage();
    if (std::exchange(unseenLines_, 0) != 0)
        Q_EMIT changed();
}

ViewPlace::Place DocumentTab::place() const {
    if (page_)
        return page_->logView().viewPlace().place();
    return place_.value_or(ViewPlace::Place());
}

void DocumentTab::goToLine(qint64 lineNumber) {
    if (page_)
        page_->logView().viewPlace().goToLineWhenKnown(lineNumber);
    else
        line_ = lineNumber;
}

void DocumentTab::setSourceStatus(const QString& text) {
    sourceStatus_ = text;
    if (page_)
        page_->setSourceStatus(text);
}

void DocumentTab::setInputPause(const QString& reason) {
    inputPause_ = reason;
    if (page_)
        page_->setInputPause(reason);
}

void DocumentTab::setInputReloadable(bool value) {
    isInputReloadable_ = value;
    if (page_)
        page_->setInputReloadable(value);
}

bool DocumentTab::isCutOff() const {
    if (!document_ || document_->isClosed())
        return false;
    const ConnectionState state = document_->connectionState();
    return state == ConnectionState::Unconnected || state == ConnectionState::Lost;
}

void DocumentTab::rowsUpdated(const RowsUpdatedNotificationObject& update) {
    if (page_ || document_->isClosed() || document_->loadState() != LoadState::Loaded)
        return;
    const qint64 count = lineCount();
    const qint64 before = std::exchange(knownLines_, count);
    noteNewLines(update.isOtherContent ? count : count - before);
}

void DocumentTab::loadStateChanged() {
    if (!document_->isClosed() && document_->loadState() == LoadState::Loaded)
        knownLines_ = lineCount();
}

qint64 DocumentTab::lineCount() const {
    const auto source = document_->dataSource();
    return source->rowStart() + source->numberOfRows();
}

void DocumentTab::noteNewLines(qint64 count) {
    if (isInFront_ || count <= 0)
        return;
    unseenLines_ += count;
    Q_EMIT changed();
}

} // namespace korvane
