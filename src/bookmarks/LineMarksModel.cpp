#include "bookmarks/LineMarksModel.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "foundation/text/VisibleText.h"

#include <QCoreApplication>

#include <algorithm>
#include <unordered_set>

namespace korvane {
namespace {

/// Maximum length of a text in a list, in UTF-16 units: the view measures all of it, even if little is
/// visible.
constexpr int longestShownText = 300;

/// The beginning of a mark's text on one line.
QString shownText(const LineMarkEntry& mark, int longest) {
    QString text = visibleText(mark.line().left(longest)).replace(u'\t', u' ');
    if (mark.line().size() >= std::min(longest + 1, LineMarkEntry::longestText))
        text += u'…';
    return text;
}

} // namespace

QString LineMarksModel::emptyMessage() {
    return QCoreApplication::translate(
        "LineMarksModel", "No line marks\n\nClick on the first column in the log view to toggle line "
                          "marks\n\nTo save line marks for later access bookmark the file");
}

void LineMarksModel::setFilePath(const std::optional<QString>& urlString) {
    beginResetModel();
    filePath_ = urlString;
    shown_ = wantedMarks();
    endResetModel();
}

void LineMarksModel::setSearchText(const QString& text) {
    searchText_ = text;
    reload();
}

void LineMarksModel::reload() {
    show(wantedMarks());
}

LineMarkEntries LineMarksModel::wantedMarks() {
    const auto marks = filePath_ ? store_.lineMarksFor(*filePath_) : nullptr;
    LineMarkEntries wanted = marks ? marks->entries() : LineMarkEntries();
    hasMarks_ = !wanted.empty();
    std::erase_if(wanted, [this](const auto& mark) {
        return !mark->description().contains(searchText_, Qt::CaseInsensitive);
    });
    std::stable_sort(wanted.begin(), wanted.end(), [](const auto& first, const auto& second) {
        return first->lineNum() < second->lineNum();
    });
    return wanted;
}

void LineMarksModel::show(const LineMarkEntries& wanted) {
    const std::unordered_set<std::shared_ptr<const LineMarkEntry>> stays(wanted.begin(), wanted.end());
    for (int last = rowCount() - 1; last >= 0; --last) {
        int first = last;
        while (first >= 0 && !stays.contains(mark(first)))
            --first;
        if (first < last) {
            beginRemoveRows({}, first + 1, last);
            shown_.erase(shown_.begin() + first + 1, shown_.begin() + last + 1);
            endRemoveRows();
        }
        last = first;
    }
    // Marks that stay have the same order in both lists.
    const auto count = static_cast<int>(wanted.size());
    for (int first = 0; first < count; ++first) {
        int end = first;
        while (end < count && wanted[static_cast<std::size_t>(end)] != mark(first))
            ++end;
        if (end > first) {
            beginInsertRows({}, first, end - 1);
            shown_.insert(shown_.begin() + first, wanted.begin() + first, wanted.begin() + end);
            endInsertRows();
        }
        first = end;
    }
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
    if (!shown)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return index.column() == LineNumberColumn ? QVariant(shown->lineNumForView())
                                                  : QVariant(shownText(*shown, longestShownText));
    case Qt::ToolTipRole: // rich text is wrapped
        return QStringLiteral("<p style=\"white-space: pre-wrap\">%1</p>")
            .arg(shownText(*shown, LineMarkEntry::longestText).toHtmlEscaped());
    default:
        return {};
    }
}

QVariant LineMarksModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == LineNumberColumn ? QCoreApplication::translate("LineMarksModel", "Line")
                                       : QCoreApplication::translate("LineMarksModel", "Text");
}

} // namespace korvane
