#include "ui/page/EndFollower.h"

#include "core/Preferences.h"
#include "foundation/text/Translations.h"
#include "ui/logtable/LogTableView.h"
#include "ui/widgets/Icons.h"

#include <QEvent>
#include <QLocale>
#include <QPushButton>
#include <QScrollBar>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

/// Distance between the mark and the lower edge of the rows, in pixels.
constexpr int markDistance = 14;

} // namespace

EndFollower::EndFollower(LogTableView& table, QObject* parent)
    : QObject(parent), table_(table), mark_(new QPushButton(&table)) {
    mark_->setObjectName(QStringLiteral("newLines"));
    mark_->setIcon(icon(QStringLiteral("to-end")));
    mark_->setFocusPolicy(Qt::NoFocus);
    mark_->setCursor(Qt::ArrowCursor);
    mark_->setAutoFillBackground(true);
    mark_->setToolTip(tr("Go to the end and follow it"));
    mark_->setAccessibleName(tr("Go to the end and follow it"));
    mark_->hide();
    connect(mark_, &QPushButton::clicked, this, [this] { goToEnd(); });
    connect(&table, &LogTableView::visibleRowsChanged, this, [this] { noteUserScroll(); });
    table.installEventFilter(this);
}

void EndFollower::whileRowsChange(bool follows, const std::function<void()>& change) {
    // The view can reach the end without user action: a truncated file may fit into it as a whole.
    if (table_.scroller().stoodAtEnd() && Preferences::shared().autoTailOnScroll())
        isAtEnd_ = true;
    isChangingRows_ = true;
    change();
    if (follows && isAtEnd_)
        table_.scroller().scrollToEnd();
    else
        isAtEnd_ = isAtEnd_ && table_.scroller().isAtEnd();
    isChangingRows_ = false;
    place_ = table_.scroller().topPlace();
    if (isAtEnd_ && (follows || table_.scroller().isAtEnd()))
        seenRows_ = table_.rowCount();
    showMark();
}

void EndFollower::forgetNewLines() {
    isAtEnd_ = isAtEnd_ && table_.scroller().isAtEnd();
    seenRows_ = table_.rowCount();
    showMark();
}

void EndFollower::everythingRead() {
    isAtEnd_ = isAtEnd_ || (table_.scroller().isAtEnd() && table_.scroller().topPlace() == RowPlace{});
    forgetNewLines();
}

void EndFollower::otherContent(qint64 seenRows) {
    seenRows_ = seenRows;
}

void EndFollower::goToEnd() {
    table_.scroller().scrollToEnd();
    isAtEnd_ = true;
    forgetNewLines();
}

void EndFollower::noteUserScroll() {
    // An empty table is always at its end; the user has not gone there.
    if (isChangingRows_ || table_.rowCount() == 0)
        return;
    const bool reachedEnd = table_.scroller().stoodAtEnd();
    // Rows that became taller moved the end away; the user did not scroll.
    const bool hasMoved = std::exchange(place_, table_.scroller().topPlace()) != table_.scroller().topPlace();
    if (!reachedEnd && !hasMoved)
        return;
    isAtEnd_ = reachedEnd && (isAtEnd_ || Preferences::shared().autoTailOnScroll());
    if (reachedEnd)
        seenRows_ = table_.rowCount();
    showMark();
}

qint64 EndFollower::newLines() const {
    return std::max<qint64>(table_.rowCount() - seenRows_, 0);
}

void EndFollower::showMark() {
    const qint64 count = newLines();
    if (count == 0) {
        mark_->hide();
        return;
    }
    mark_->setText(
        tr("%1 new line(s)", nullptr, translations::pluralOf(count)).arg(QLocale().toString(count)));
    mark_->adjustSize();
    const QRect rows = table_.viewport()->geometry();
    mark_->move(rows.center().x() - mark_->width() / 2, rows.bottom() - mark_->height() - markDistance);
    mark_->show();
}

bool EndFollower::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize && !mark_->isHidden())
        QMetaObject::invokeMethod(
            this, [this] { showMark(); }, Qt::QueuedConnection);
    return QObject::eventFilter(watched, event);
}

} // namespace korvane
