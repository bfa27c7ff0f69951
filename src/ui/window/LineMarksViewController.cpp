#include "ui/window/LineMarksViewController.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/NotificationNames.h"
#include "foundation/FilePath.h"
#include "ui/widgets/Icons.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QSortFilterProxyModel>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace korvane {

LineMarksViewController::LineMarksViewController(QWidget* parent)
    : QWidget(parent), lineMarks_(FileBasedBookmarksManager::shared()),
      arrayController_(new QSortFilterProxyModel(this)), search_(new QLineEdit(this)),
      tableView_(new QTreeView(this)), emptyViewMsg_(new QLabel(LineMarksModel::emptyMessage(), this)),
      delete_(new QToolButton(this)) {
    arrayController_->setSourceModel(&lineMarks_);
    arrayController_->setSortCaseSensitivity(Qt::CaseInsensitive);
    search_->setPlaceholderText(tr("Search line marks"));
    search_->setAccessibleName(tr("Search line marks"));
    search_->setClearButtonEnabled(true);
    tableView_->setModel(arrayController_);
    tableView_->setAccessibleName(tr("Line marks"));
    tableView_->setRootIsDecorated(false);
    tableView_->setUniformRowHeights(true);
    tableView_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    tableView_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tableView_->setSortingEnabled(true);
    tableView_->sortByColumn(LineMarksModel::LineNumberColumn, Qt::AscendingOrder);
    tableView_->header()->setSectionResizeMode(LineMarksModel::LineNumberColumn,
                                               QHeaderView::ResizeToContents);
    tableView_->setTextElideMode(Qt::ElideRight);
    tableView_->setContextMenuPolicy(Qt::CustomContextMenu);
    tableView_->installEventFilter(this);
    emptyViewMsg_->setWordWrap(true);
    emptyViewMsg_->setAlignment(Qt::AlignCenter);
    emptyViewMsg_->setForegroundRole(QPalette::PlaceholderText);
    emptyViewMsg_->setMargin(16);
    delete_->setIcon(icon(QStringLiteral("remove")));
    delete_->setAutoRaise(true);
    delete_->setToolTip(tr("Delete the selected line marks (Del)"));
    delete_->setAccessibleName(tr("Delete the selected line marks"));

    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(4, 2, 4, 2);
    buttons->addWidget(delete_);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* searchLine = new QHBoxLayout;
    searchLine->setContentsMargins(4, 4, 4, 4);
    searchLine->addWidget(search_);
    layout->addLayout(searchLine);
    layout->addWidget(tableView_, 1);
    layout->addWidget(emptyViewMsg_, 1);
    layout->addLayout(buttons);

    connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
        lineMarks_.setSearchText(text);
        delete_->setEnabled(isSelected());
    });
    connect(tableView_, &QTreeView::activated, this, [this] { handleDoubleAction(); });
    connect(delete_, &QToolButton::clicked, this, [this] { deleteSelected(); });
    connect(tableView_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { delete_->setEnabled(isSelected()); });
    connect(tableView_, &QTreeView::customContextMenuRequested, this, [this](QPoint place) {
        if (!isSelected())
            return;
        QMenu menu(this);
        menu.addAction(tr("&Go to Line"), this, [this] { handleDoubleAction(); })
            ->setEnabled(tableView_->selectionModel()->selectedRows().size() == 1);
        menu.addAction(tr("&Delete"), this, [this] { deleteSelected(); });
        menu.exec(tableView_->viewport()->mapToGlobal(place));
    });
    tokens_.push_back(NotificationCenter::shared().observe(notification::lineMarksChanged,
                                                           [this](const Notification&) { reload(); }));
    reload();
}

void LineMarksViewController::setFile(const QUrl& url, const void* logView) {
    logView_ = logView;
    lineMarks_.setFilePath(url.isEmpty() ? std::nullopt : std::optional(absoluteString(url)));
    reload();
}

void LineMarksViewController::reload() {
    lineMarks_.reload();
    const bool hasMarks = lineMarks_.hasMarks();
    tableView_->setVisible(hasMarks);
    search_->setEnabled(hasMarks);
    emptyViewMsg_->setVisible(!hasMarks);
    delete_->setEnabled(isSelected());
}

bool LineMarksViewController::isSelected() const {
    return tableView_->selectionModel()->hasSelection();
}

void LineMarksViewController::handleDoubleAction() {
    const QModelIndexList rows = tableView_->selectionModel()->selectedRows();
    if (rows.size() != 1)
        return;
    if (const auto mark = lineMarks_.mark(arrayController_->mapToSource(rows.front()).row()))
        NotificationCenter::shared().post(notification::lineMarksJumpToLine, qint64{mark->lineNumForView()},
                                          logView_);
}

void LineMarksViewController::deleteSelected() {
    QList<int> rows;
    for (const QModelIndex& index : tableView_->selectionModel()->selectedRows())
        rows.append(arrayController_->mapToSource(index).row());
    if (rows.isEmpty())
        return;
    const std::vector<qint64> lines = lineMarks_.remove(rows);
    reload();
    NotificationCenter::shared().post(notification::lineMarksDeleted, lines, logView_);
}

bool LineMarksViewController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == tableView_ && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        deleteSelected();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace korvane
