#include "ui/window/LineMarksViewController.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "foundation/FilePath.h"
#include "ui/widgets/Icons.h"
#include "ui/window/ListKeys.h"

#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QSortFilterProxyModel>
#include <QStyledItemDelegate>
#include <QTextLayout>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

/// Maximum number of visual lines of a mark's text: the first often holds nothing but the time.
constexpr int shownLines = 2;
constexpr int markRowPadding = 6;
constexpr int textMargin = 4;

/// Draws the texts of marks in two visual lines, the second one elided.
class MarkDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const QSize oneLine = QStyledItemDelegate::sizeHint(option, index);
        return {oneLine.width() + 2 * textMargin,
                shownLines * option.fontMetrics.lineSpacing() + markRowPadding};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem item(option);
        initStyleOption(&item, index);
        const QString text = std::exchange(item.text, QString());
        item.widget->style()->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);
        const QRect area = item.rect.adjusted(textMargin, markRowPadding / 2, -textMargin, 0);
        const int first = firstLineLength(text, item.font, area.width());
        const bool isSelected = item.state & QStyle::State_Selected;
        const auto group = item.state & QStyle::State_Active ? QPalette::Active : QPalette::Inactive;
        painter->save();
        painter->setFont(item.font);
        painter->setPen(item.palette.color(group, isSelected ? QPalette::HighlightedText : QPalette::Text));
        const int baseline = area.top() + item.fontMetrics.ascent();
        painter->drawText(area.left(), baseline, text.left(first));
        painter->drawText(area.left(), baseline + item.fontMetrics.lineSpacing(),
                          item.fontMetrics.elidedText(text.mid(first), Qt::ElideRight, area.width()));
        painter->restore();
    }

private:
    static int firstLineLength(const QString& text, const QFont& font, int width) {
        QTextLayout layout(text, font);
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        option.setTextDirection(Qt::LeftToRight);
        layout.setTextOption(option);
        layout.beginLayout();
        QTextLine line = layout.createLine();
        if (line.isValid())
            line.setLineWidth(width);
        layout.endLayout();
        return line.isValid() ? line.textLength() : 0;
    }
};

} // namespace

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
    tableView_->setItemDelegate(new MarkDelegate(this));
    new ListKeys(*tableView_, {.copiedText = [this] { return selectedTexts(); },
                               .deleteSelected = [this] { deleteSelected(); }});
    emptyViewMsg_->setWordWrap(true);
    emptyViewMsg_->setAlignment(Qt::AlignCenter);
    emptyViewMsg_->setForegroundRole(QPalette::PlaceholderText);
    emptyViewMsg_->setMargin(16);
    delete_->setIcon(icon(QStringLiteral("remove")));
    delete_->setAutoRaise(true);
    delete_->setToolTip(tr("Delete the selected line marks (Del)"));
    delete_->setAccessibleName(tr("Delete the selected line marks"));
    layOut();
    connectParts();
    marksSubscription_ =
        FileBasedBookmarksManager::shared().notices().lineMarksChanged.subscribe([this] { reload(); });
    reload();
}

void LineMarksViewController::layOut() {
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
}

void LineMarksViewController::connectParts() {
    connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
        lineMarks_.setSearchText(text);
        showWhatThereIs();
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
}

void LineMarksViewController::setFile(const QUrl& url) {
    lineMarks_.setFilePath(url.isEmpty() ? std::nullopt : std::optional(absoluteString(url)));
    showWhatThereIs();
}

void LineMarksViewController::reload() {
    lineMarks_.reload();
    showWhatThereIs();
}

void LineMarksViewController::showWhatThereIs() {
    const bool isEmpty = lineMarks_.rowCount() == 0;
    search_->setEnabled(lineMarks_.hasMarks());
    tableView_->setVisible(!isEmpty);
    emptyViewMsg_->setText(lineMarks_.hasMarks() ? tr("No line mark holds “%1”").arg(search_->text())
                                                 : LineMarksModel::emptyMessage());
    emptyViewMsg_->setVisible(isEmpty);
    delete_->setEnabled(isSelected());
}

QString LineMarksViewController::selectedTexts() const {
    QModelIndexList selected = tableView_->selectionModel()->selectedRows();
    std::sort(selected.begin(), selected.end());
    QStringList texts;
    for (const QModelIndex& index : selected) {
        if (const auto mark = lineMarks_.mark(arrayController_->mapToSource(index).row()))
            texts.append(mark->line());
    }
    return texts.join(u'\n');
}

bool LineMarksViewController::isSelected() const {
    return tableView_->selectionModel()->hasSelection();
}

void LineMarksViewController::handleDoubleAction() {
    const QModelIndexList rows = tableView_->selectionModel()->selectedRows();
    if (rows.size() != 1)
        return;
    if (const auto mark = lineMarks_.mark(arrayController_->mapToSource(rows.front()).row()))
        Q_EMIT lineMarksJumpToLine(mark->lineNumForView());
}

void LineMarksViewController::deleteSelected() {
    QList<int> rows;
    for (const QModelIndex& index : tableView_->selectionModel()->selectedRows())
        rows.append(arrayController_->mapToSource(index).row());
    if (rows.isEmpty())
        return;
    const std::vector<qint64> lines = lineMarks_.remove(rows);
    reload();
    // Select the next mark, so that the same key can delete it.
    if (const QModelIndex next = tableView_->currentIndex(); next.isValid())
        tableView_->selectionModel()->select(next,
                                             QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    FileBasedBookmarksManager::shared().notices().lineMarksDeleted.post(lines);
}

} // namespace korvane
