#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/archive/UserDefaults.h"
#include "foundation/notices/Notice.h"
#include "ui/logtable/LogTableView.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QMenu;

namespace korvane {

class AlertPresenter;
class Document;
class EndFollower;
class LineCopier;
class LineMarker;
class LogAppearance;
class LogSearch;
class PrimarySelection;
class ShownRows;
class TailDataSourceProtocol;
class ViewPlace;
struct RowsUpdatedNotificationObject;

/// Runs the log table of one document: connects it with rows, preferences and the user's actions. Owned by
/// the document's window; the table is a child of that window. Main thread.
class LogViewController : public QObject {
    Q_OBJECT

public:
    /// The table becomes a child of `parent`.
    LogViewController(std::shared_ptr<Document> document, AlertPresenter& alerts, QWidget* parent);
    ~LogViewController() override;

    LogTableView& tableView() { return *tableView_; }
    LogSearch& search() { return *search_; }
    ViewPlace& viewPlace() { return *viewPlace_; }
    const ViewPlace& viewPlace() const { return *viewPlace_; }
    LineMarker& lineMarker() { return *lineMarker_; }
    LogAppearance& appearance() { return *appearance_; }
    LineCopier& copier() { return *copier_; }
    ShownRows& shownRows() { return *shownRows_; }
    const ShownRows& shownRows() const { return *shownRows_; }
    /// The table's context menu; set by the window, not owned.
    void setContextMenu(QMenu* menu) { contextMenu_ = menu; }

    qint64 lineCount() const;
    /// The line number written in a text, in the user's notation; nullopt if the file has no such line.
    std::optional<qint64> validLineNumber(const QString& text) const;
    /// Scrolls a one-based line into view and selects it. Shows a message for a line that was cleared from
    /// the view.
    void goToLine(qint64 lineNumber);
    /// As `goToLine`, and gives the table the keyboard focus; for the list of line marks.
    void goToMarkedLine(qint64 lineNumber);
    /// All lines are known now.
    void loadEnded();
    void performGotoLineMenuAction();
    void goToFirstLine();
    /// Also follows the end afterwards, while the file is followed.
    void goToLastLine();
    /// The first line is at the top, and nothing is selected.
    bool isAtStart() const;
    /// The last row is the empty one after a final line feed.
    bool endsWithEmptyRow() const;
    /// Removes all lines but the last one from the view, and the search results.
    void clearView();
    /// Whether lines were cleared from the view, so that `showAllLines` has an effect.
    bool hasClearedLines() const;
    void showAllLines();

    /// Marks the selected lines, or removes their marks when all of them are marked.
    void toggleLineMarkMenuAction();

    bool quickHighlightEnabled() const;
    void setQuickHighlightEnabled(bool enabled);
    void setEncodingChoice(EncodingChoice choice);
    /// Whether lines that no rule claims are hidden.
    bool hidesUnclaimedLines() const;
    void setHidesUnclaimedLines(bool hides);
    /// The selected text, else the current line's; of several lines only the first.
    QString textForNewRule() const;
    /// The texts of the visible lines, as far as they are loaded.
    QStringList visibleLines() const;

Q_SIGNALS:
    void rowCountChanged();
    /// Lines were appended to the file after its first scan, and are known now.
    void linesArrived(qint64 count);
    /// A page has been loaded, or loading it has failed.
    void rowsArrived();
    void selectionChanged();
    void userMessage(const QString& text);
    /// The message no longer holds.
    void userMessageOver(const QString& text);
    /// The visible rows show their text for the first time.
    void firstRowsShown();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void observeRows();
    void rowsUpdatedInTable(const RowsUpdatedNotificationObject& rows);
    /// These rows, both included, have been loaded or must be requested again.
    void dataSourceLoadedLines(qint64 firstRow, qint64 lastRow);
    /// Whether a view at the end stays there when rows are added.
    bool followsEnd() const;
    /// The table shows other rows of the same file.
    void rowStartChanged();
    void handleUserDefaultsChanged(const QString& key);
    void quickHighlightSelection();
    void lineMarkColClicked(qint64 row);
    void observeLineMarks();
    void showSearchMessage(const QString& text);
    QString noSuchLine(qint64 lineNumber) const;
    void visibleRowsChanged();
    /// Requests the pages of the visible rows, if they have to be read (again).
    void requestVisiblePages();

    const std::shared_ptr<Document> document_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    LogTableView* tableView_;
    EndFollower* endFollower_;
    ShownRows* shownRows_;
    LogSearch* search_;
    ViewPlace* viewPlace_;
    QMenu* contextMenu_ = nullptr;
    /// Result of the last search.
    QString searchMessage_;

    LineMarker* lineMarker_;
    PrimarySelection* primarySelection_;
    LineCopier* copier_;
    LogAppearance* appearance_ = nullptr;

    Notice<QString> quickHighlightTextSelected_{"QuickHighlightTextSelectedNotification"};
    Subscriptions subscriptions_;
    UserDefaults::Token preferencesToken_;
};

} // namespace korvane
