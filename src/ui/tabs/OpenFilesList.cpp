#include "ui/tabs/OpenFilesList.h"

#include "ui/widgets/FileListDelegate.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace korvane {
namespace {

constexpr int listWidth = 440;
constexpr int mostRows = 12;
constexpr int listMargin = 6;

} // namespace

OpenFilesList::OpenFilesList(const std::vector<File>& files, int current, QWidget* parent)
    : QFrame(parent, Qt::Popup), field_(new QLineEdit(this)), list_(new QListWidget(this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setFrameShape(QFrame::StyledPanel);
    field_->setPlaceholderText(tr("Filter by name or folder"));
    field_->setAccessibleName(tr("Filter by name or folder"));
    field_->setClearButtonEnabled(true);
    list_->setAccessibleName(tr("All open files"));
    list_->setItemDelegate(new FileListDelegate(list_));
    list_->setUniformItemSizes(true);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setFocusPolicy(Qt::NoFocus);
    for (const File& file : files) {
        auto* item = new QListWidgetItem(file.name, list_);
        item->setData(FileListDelegate::placeRole, file.place);
        item->setData(FileListDelegate::isMissingRole, file.isMissing);
        item->setToolTip(file.place);
    }
    // The focus stays in the field, so the list itself must report its current item.
    connect(list_, &QListWidget::currentRowChanged, this, [this](int row) {
        QAccessibleEvent event(list_, QAccessible::Focus);
        event.setChild(row);
        if (row >= 0)
            QAccessible::updateAccessibility(&event);
    });
    list_->setCurrentRow(current);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(listMargin, listMargin, listMargin, listMargin);
    layout->addWidget(field_);
    layout->addWidget(list_);
    // Keys that move through the list, before the field handles them.
    field_->installEventFilter(this);
    connect(field_, &QLineEdit::textChanged, this, &OpenFilesList::filter);
    connect(field_, &QLineEdit::returnPressed, this, &OpenFilesList::choose);
    connect(list_, &QListWidget::itemClicked, this, &OpenFilesList::choose);
}

void OpenFilesList::showBelow(const QWidget& anchor) {
    const QWidget& window = *anchor.window();
    const int rows = std::clamp(list_->count(), 1, mostRows);
    const int frame = 2 * list_->frameWidth();
    list_->setFixedHeight(std::min(rows * list_->sizeHintForRow(0) + frame,
                                   std::max(window.height() / 2, list_->sizeHintForRow(0))));
    setFixedWidth(std::min(listWidth, window.width()));
    adjustSize();
    const QPoint corner = anchor.mapToGlobal(QPoint(anchor.width(), 0));
    const bool isButton = anchor.height() < window.height() / 2;
    move(corner.x() - width(), corner.y() + (isButton ? anchor.height() : 0));
    show();
    field_->setFocus();
    list_->scrollToItem(list_->currentItem(), QAbstractItemView::PositionAtCenter);
}

bool OpenFilesList::eventFilter(QObject* watched, QEvent* event) {
    if (watched != field_ || event->type() != QEvent::KeyPress)
        return QFrame::eventFilter(watched, event);
    switch (static_cast<QKeyEvent*>(event)->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        QCoreApplication::sendEvent(list_, event);
        return true;
    default:
        return QFrame::eventFilter(watched, event);
    }
}

void OpenFilesList::filter(const QString& text) {
    QListWidgetItem* first = nullptr;
    for (int row = 0; row < list_->count(); ++row) {
        QListWidgetItem* item = list_->item(row);
        const bool isMatch =
            item->text().contains(text, Qt::CaseInsensitive) ||
            item->data(FileListDelegate::placeRole).toString().contains(text, Qt::CaseInsensitive);
        item->setHidden(!isMatch);
        if (isMatch && !first)
            first = item;
    }
    if (!list_->currentItem() || list_->currentItem()->isHidden())
        list_->setCurrentItem(first);
}

void OpenFilesList::choose() {
    const QListWidgetItem* item = list_->currentItem();
    if (!item || item->isHidden())
        return;
    Q_EMIT chosen(list_->row(item));
    close();
}

} // namespace korvane
