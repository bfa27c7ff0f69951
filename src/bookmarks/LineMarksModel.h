#pragma once

#include "bookmarks/LineMarkEntry.h"

#include <QAbstractTableModel>
#include <QList>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class FileBasedBookmarksManager;

/// The line marks of one file that match a search text, sorted by line. Main thread.
class LineMarksModel : public QAbstractTableModel {
public:
    enum Column { LineNumberColumn, LineColumn, columns };

    /// `store` must outlive the model.
    explicit LineMarksModel(FileBasedBookmarksManager& store) : store_(store) {}

    /// The text to show when the file has no marks.
    static QString emptyMessage();

    /// The file by its URL's absolute string; nullopt for no file.
    void setFilePath(const std::optional<QString>& urlString);
    /// Fetches the file's marks from the store again. Marks that stay keep their rows, so that a view keeps
    /// its selection.
    void reload();
    /// Shows only the marks whose description contains the text, ignoring case; all for an empty text.
    void setSearchText(const QString& text);

    /// Whether the file has marks, shown or not.
    bool hasMarks() const { return hasMarks_; }
    /// Null for an invalid row.
    std::shared_ptr<const LineMarkEntry> mark(int row) const;
    /// Removes the marks of these rows from the store and reloads; returns the zero-based indexes of the
    /// lines.
    std::vector<qint64> remove(const QList<int>& rows);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    LineMarkEntries wantedMarks();
    void show(const LineMarkEntries& wanted);

    FileBasedBookmarksManager& store_;
    std::optional<QString> filePath_;
    QString searchText_;
    LineMarkEntries shown_;
    bool hasMarks_ = false;
};

} // namespace korvane
