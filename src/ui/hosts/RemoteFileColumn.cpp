#include "ui/hosts/RemoteFileColumn.h"

#include <QKeyEvent>
#include <QPainter>
#include <QTextOption>

#include <utility>

namespace korvane {
namespace {

constexpr int emptyTextMargin = 12;
constexpr float emptyTextOpacity = 0.65F;

} // namespace

RemoteFileColumn::RemoteFileColumn(QAbstractItemModel& model, const QModelIndex& directory,
                                   EmptyText emptyText, QWidget* parent)
    : QListView(parent), emptyText_(std::move(emptyText)) {
    setFrameShape(QFrame::NoFrame);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // A directory may hold tens of thousands of entries.
    setUniformItemSizes(true);
    setModel(&model);
    setRootIndex(directory);
    connect(this, &QAbstractItemView::doubleClicked, this, &RemoteFileColumn::entered);
}

void RemoteFileColumn::deselect() {
    setCurrentIndex({});
    clearSelection();
}

void RemoteFileColumn::selectSomething() {
    if (!currentIndex().isValid())
        setCurrentIndex(model()->index(0, 0, rootIndex()));
}

void RemoteFileColumn::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    Q_EMIT selectionMoved();
}

void RemoteFileColumn::rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last) {
    const QModelIndex current = currentIndex();
    if (current.isValid() && parent == rootIndex() && current.row() >= first && current.row() <= last)
        deselect();
    QListView::rowsAboutToBeRemoved(parent, first, last);
}

QModelIndex RemoteFileColumn::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) {
    if (isTakingFocus_)
        return {};
    if (!currentIndex().isValid() && action == MoveEnd)
        return model()->index(model()->rowCount(rootIndex()) - 1, 0, rootIndex());
    return QListView::moveCursor(action, modifiers);
}

void RemoteFileColumn::keyPressEvent(QKeyEvent* event) {
    const bool isMirrored = isRightToLeft();
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    switch (isPlain ? event->key() : 0) {
    case Qt::Key_Left:
        Q_EMIT left(isMirrored ? Way::Inwards : Way::Outwards);
        return;
    case Qt::Key_Right:
        Q_EMIT left(isMirrored ? Way::Outwards : Way::Inwards);
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (currentIndex().isValid())
            Q_EMIT entered(currentIndex());
        return;
    default:
        QListView::keyPressEvent(event);
    }
}

void RemoteFileColumn::mousePressEvent(QMouseEvent* event) {
    QListView::mousePressEvent(event);
    // Also when the entry is current already.
    Q_EMIT selectionMoved();
}

void RemoteFileColumn::focusInEvent(QFocusEvent* event) {
    isTakingFocus_ = true;
    QListView::focusInEvent(event);
    isTakingFocus_ = false;
    Q_EMIT focused();
}

void RemoteFileColumn::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    if (model()->rowCount(rootIndex()) > 0)
        return;
    const QString text = emptyText_(rootIndex());
    setAccessibleDescription(text);
    QPainter painter(viewport());
    // Dark themes do not always define a placeholder colour.
    QColor color = palette().color(QPalette::Text);
    color.setAlphaF(emptyTextOpacity);
    painter.setPen(color);
    // Paths have no blanks to break at.
    QTextOption option(Qt::AlignHCenter);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    const QRect area = viewport()->rect();
    painter.drawText(area.adjusted(emptyTextMargin, emptyTextMargin, -emptyTextMargin, -emptyTextMargin),
                     text, option);
}

} // namespace korvane
