#include "bookmarks/LineMarksModel.h"

#include "bookmarks/FileBasedBookmarksManager.h"

#include <QCoreApplication>

#include <algorithm>

namespace korvane {

QString LineMarksModel::emptyMessage() {
    return QCoreApplication::translate(
        "LineMarksModel", "No line marks\n\nClick on the first column in the log view to toggle line "
                          "marks\n\nTo save line marks for later access bookmark the file");
}

void LineMarksModel::setFilePath(const std::optional<QString>& urlString) {
    filePath_ = urlString;
    reload();
}

void LineMarksModel::setSearchText(const QString& text) {
    searchText_ = text;
    reload();
}

void LineMarksModel::reload() {
    beginResetModel();
    const auto marks = filePath_ ? store_.lineMarksFor(*filePath_) : nullptr;
    shown_ = marks ? *marks : LineMarkList();
    hasMarks_ = !shown_.empty();
    std::erase_if(shown_, [this](const auto& mark) {
        return !mark->description().contains(searchText_, Qt::CaseInsensitive);
    });
    std::stable_sort(shown_.begin(), shown_.end(), [](const auto& first, const auto& second) {
        return first->lineNum() < second->lineNum();
    });
    endResetModel();
}

std::shared_ptr<const LineMarkEntry> LineMarksModel::mark(int row) const {
    return row >= 0 && row < rowCount() ? shown_[static_cast<std::size_t>(row)] : nullptr;
}

std::vector<qint64> LineMarksModel::remove(const QList<int>& rows) {
    std::vector<qint64> lineNums;
    for (const int row : rows) {
        if (const auto removed = mark(row))
            lineNums.push_back(removed->lineNum());
    }
    if (filePath_ && !lineNums.empty())
        store_.removeLineMarks(*filePath_, lineNums);
    reload();
    return lineNums;
}

int LineMarksModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

int LineMarksModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columns;
}

QVariant LineMarksModel::data(const QModelIndex& index, int role) const {
    const auto shown = mark(index.row());
    if (!shown || role != Qt::DisplayRole)
        return {};
    return index.column() == LineNumberColumn ? QVariant(shown->lineNumForView()) : QVariant(shown->line());
}

QVariant LineMarksModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == LineNumberColumn ? QCoreApplication::translate("LineMarksModel", "Line")
                                       : QCoreApplication::translate("LineMarksModel", "Text");
}

} // namespace korvane
