#include "ui/hosts/RemoteColumnView.h"

#include "remote/RemoteFileModel.h"
#include "ui/hosts/RemoteFileEntryCell.h"

#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>

#include <algorithm>
#include <ranges>
#include <utility>

namespace korvane {
namespace {

constexpr int columnWidth = 230;
constexpr int leastColumnWidth = 80;
constexpr int gripWidth = 7;

/// Changes the width of the column in front of it.
class ColumnGrip : public QWidget {
public:
    ColumnGrip(QWidget& column, QWidget* parent) : QWidget(parent), column_(column) {
        setFixedWidth(gripWidth);
        setCursor(Qt::SplitHCursor);
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        painter.fillRect(rect(), palette().window());
        painter.setPen(palette().color(QPalette::Mid));
        painter.drawLine(width() / 2, 0, width() / 2, height());
    }
    void mousePressEvent(QMouseEvent* event) override {
        from_ = event->globalPosition().toPoint().x();
        widthBefore_ = column_.width();
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        const int moved = event->globalPosition().toPoint().x() - from_;
        column_.setFixedWidth(std::max(leastColumnWidth, widthBefore_ + (isRightToLeft() ? -moved : moved)));
    }

private:
    QWidget& column_;
    int from_ = 0;
    int widthBefore_ = 0;
};

bool isDirectory(const QModelIndex& index) {
    return index.data(RemoteFileModel::IsDirectoryRole).toBool();
}

} // namespace

RemoteColumnView::RemoteColumnView(RemoteFileColumn::EmptyText emptyText, QWidget* parent)
    : QScrollArea(parent), emptyText_(std::move(emptyText)), content_(new QWidget(this)),
      layout_(new QHBoxLayout(content_)) {
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(0);
    layout_->addStretch(1);
    content_->setBackgroundRole(QPalette::Base);
    setWidget(content_);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

void RemoteColumnView::setModel(QAbstractItemModel& model) {
    model_ = &model;
    addColumn({});
    connect(&model, &QAbstractItemModel::modelAboutToBeReset, this, [this] { removeColumns(1); });
    for (const auto changed : {&QAbstractItemModel::rowsRemoved, &QAbstractItemModel::rowsInserted})
        connect(&model, changed, this, &RemoteColumnView::follow);
    connect(&model, &QAbstractItemModel::dataChanged, this, &RemoteColumnView::follow);
    connect(&model, &QAbstractItemModel::layoutChanged, this, &RemoteColumnView::follow);
    connect(&model, &QAbstractItemModel::modelReset, this, &RemoteColumnView::follow);
}

// ---- Columns

void RemoteColumnView::addColumn(const QModelIndex& directory) {
    auto* column = new RemoteFileColumn(*model_, directory, emptyText_, content_);
    const std::size_t place = columns_.size();
    column->setItemDelegate(new RemoteFileEntryCell(column));
    column->setFixedWidth(columnWidth);
    column->setFocusPolicy(place == active_ ? Qt::StrongFocus : Qt::ClickFocus);
    column->setAccessibleName(directory.isValid() ? directory.data().toString() : accessibleName());
    // In front of the stretch.
    layout_->insertWidget(layout_->count() - 1, column);
    layout_->insertWidget(layout_->count() - 1, new ColumnGrip(*column, content_));
    columns_.push_back(column);
    setTabOrder(this, column);
    connect(column, &RemoteFileColumn::selectionMoved, this, [this, place] {
        // The selection in deeper directories is void.
        if (place + 1 < columns_.size())
            columns_[place + 1]->deselect();
        follow();
    });
    connect(column, &RemoteFileColumn::left, this,
            [this, place](RemoteFileColumn::Way way) { moveFrom(place, way); });
    connect(column, &RemoteFileColumn::entered, this,
            [this, place](const QModelIndex& index) { enter(place, index); });
    connect(column, &RemoteFileColumn::focused, this, [this, place] { setActive(place); });
    column->show();
    QMetaObject::invokeMethod(
        this,
        [this, made = QPointer(column)] {
            if (made)
                ensureWidgetVisible(made, 0, 0);
        },
        Qt::QueuedConnection);
    Q_EMIT directoryShown(directory);
}

void RemoteColumnView::removeColumns(std::size_t from) {
    if (from >= columns_.size())
        return;
    if (active_ >= from) {
        const bool hasFocus = columns_[active_]->hasFocus();
        setActive(from - 1);
        if (hasFocus)
            columns_[active_]->setFocus();
    }
    while (columns_.size() > from) {
        // Each column is followed by its grip, the last one also by the stretch.
        for (int i = 0; i < 2; ++i) {
            QWidget* widget = layout_->itemAt(layout_->count() - 2)->widget();
            layout_->removeWidget(widget);
            widget->disconnect(this);
            widget->hide();
            widget->deleteLater();
        }
        columns_.pop_back();
    }
}

void RemoteColumnView::follow() {
    std::size_t last = 0;
    for (;; ++last) {
        const QModelIndex current = columns_[last]->currentIndex();
        if (!current.isValid() || !isDirectory(current))
            break;
        if (last + 1 < columns_.size() && columns_[last + 1]->rootIndex() == current)
            continue;
        removeColumns(last + 1);
        addColumn(current);
    }
    removeColumns(last + 1);
    Q_EMIT currentChanged();
}

void RemoteColumnView::setActive(std::size_t column) {
    if (active_ < columns_.size())
        columns_[active_]->setFocusPolicy(Qt::ClickFocus);
    active_ = column;
    columns_[active_]->setFocusPolicy(Qt::StrongFocus);
}

// ---- Selection

QModelIndex RemoteColumnView::currentIndex() const {
    for (const RemoteFileColumn* column : std::views::reverse(columns_)) {
        if (const QModelIndex current = column->currentIndex(); current.isValid())
            return current;
    }
    return {};
}

void RemoteColumnView::setCurrentIndex(const QModelIndex& index) {
    QModelIndexList way;
    for (QModelIndex step = index; step.isValid(); step = step.parent())
        way.prepend(step);
    for (std::size_t place = 0; place < columns_.size() && place < static_cast<std::size_t>(way.size());
         ++place) {
        columns_[place]->setCurrentIndex(way[static_cast<qsizetype>(place)]);
        setActive(place);
    }
}

QModelIndexList RemoteColumnView::directories() const {
    QModelIndexList all;
    for (const RemoteFileColumn* column : columns_)
        all.append(column->rootIndex());
    return all;
}

void RemoteColumnView::focusColumn() {
    if (!columns_.empty())
        columns_[active_]->setFocus();
}

bool RemoteColumnView::goOutwards() {
    if (active_ == 0)
        return false;
    moveFrom(active_, RemoteFileColumn::Way::Outwards);
    return true;
}

void RemoteColumnView::showSelection() {
    for (RemoteFileColumn* column : columns_)
        column->scrollTo(column->currentIndex());
}

void RemoteColumnView::updateEmptyTexts() {
    for (RemoteFileColumn* column : columns_)
        column->viewport()->update();
}

void RemoteColumnView::moveFrom(std::size_t column, RemoteFileColumn::Way way) {
    if (way == RemoteFileColumn::Way::Outwards) {
        if (column == 0)
            return;
        columns_[column]->deselect();
        columns_[column - 1]->setFocus();
        ensureWidgetVisible(columns_[column - 1], 0, 0);
    } else if (column + 1 < columns_.size()) {
        columns_[column + 1]->setFocus();
        columns_[column + 1]->selectSomething();
        ensureWidgetVisible(columns_[std::min(column + 2, columns_.size() - 1)], 0, 0);
    } else {
        columns_[column]->selectSomething();
    }
}

void RemoteColumnView::enter(std::size_t column, const QModelIndex& index) {
    if (isDirectory(index))
        moveFrom(column, RemoteFileColumn::Way::Inwards);
    else
        Q_EMIT fileEntered(index);
}

} // namespace korvane
