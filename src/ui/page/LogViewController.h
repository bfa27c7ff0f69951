#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/archive/UserDefaults.h"
#include "foundation/notices/Notice.h"
#include "ui/logtable/LogTableView.h"
#include "ui/page/LineCopier.h"

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
class LineMarker;
class LogSearch;
class PrimarySelection;
class TailDataSourceProtocol;
struct RowsUpdatedNotificationObject;

/// Runs the log table of one document: brings rows, preferences and the user's actions to it. Owned by the
/// document's window, and owns the table through it. Main thread.
class LogViewController : public QObject {
    Q_OBJECT

public:
    /// The table becomes a child of `parent`.
    LogViewController(std::shared_ptr<Document> document, AlertPresenter& alerts, QWidget* parent);
    ~LogViewController() override;

    LogTableView& tableView() { return *tableView_; }
    LogSearch& search() { return *search_; }
    /// Drawn in the table's context menu; set by the window, not owned.
    void setContextMenu(QMenu* menu) { contextMenu_ = menu; }

    qint64 lineCount() const;
    /// The number that a text stands for, in the user's own notation, if it is a line of the file.
    std::optional<qint64> validLineNumber(const QString& text) const;
    /// Scrolls a one-based line into view and selects it. A line that the cleared view no longer shows gets a
    /// message.
    void goToLine(qint64 lineNumber);
    /// From the list of line marks: the keys go to the table from then on.
    void goToMarkedLine(qint64 lineNumber);
    /// The same as soon as the line is known, at the latest when the first scan has ended.
    void goToLineWhenKnown(qint64 lineNumber);
    /// Where the view stood: its first line, one-based, and whether that was at the end of the file.
    struct Place {
        qint64 topLine = 1;
        bool isAtEnd = false;
    };
    Place place() const;
    /// The document is about to be reloaded: the view comes back to where it stands.
    void keepPlaceWhileReading();
    /// Brings the view there as soon as that is known, without selecting anything.
    void restorePlace(const Place& place);
    /// All lines are known now.
    void loadEnded();
    void performGotoLineMenuAction();
    void goToFirstLine();
    /// Also follows the end from now on, while the file is followed.
    void goToLastLine();
    /// The first line is at the top, and nothing has been chosen yet.
    bool isAtStart() const;
    /// The last row is the empty one behind a final line feed.
    bool endsWithEmptyRow() const;
    /// All lines but the last one leave the view; search results go too.
    void clearView();
    /// Whether lines were cleared away, so that `showAllLines` has something to bring back.
    bool hasClearedLines() const;
    void showAllLines();

    /// Marks the selected lines, or takes the marks of all of them away when each has one.
    void toggleLineMarkMenuAction();
    /// To the nearest marked line behind or before the current one, round the ends.
    void goToNextLineMark();
    void goToPreviousLineMark();

    bool wrappingLines() const { return wrappingLines_; }
    /// Also remembered for this file.
    void setWrappingLines(bool wrapping);
    bool showsLineNumbers() const;
    void setShowsLineNumbers(bool shows);
    bool quickHighlightEnabled() const;
    void setQuickHighlightEnabled(bool enabled);
    void setEncodingChoice(EncodingChoice choice);
    /// Whether lines that no rule claims are hidden.
    bool hidesUnclaimedLines() const;
    void setHidesUnclaimedLines(bool hides);
    /// The selected text, else the current line's; a text of several lines gives its first.
    QString textForNewRule() const;
    /// The text of the lines on the screen, as far as they are there.
    QStringList visibleLines() const;
    /// Bytes on the screen that are no text in the file's encoding.
    bool hasInvalidLines() const;

    /// Steps of one point; applies to every log view and leaves the chosen font as it is.
    void zoom(int steps);
    /// Back to the chosen size.
    void resetZoom();

    /// Puts the selected text, or the selected lines whole, on the clipboard.
    void copySelection(LineCopier::HiddenLines hidden = LineCopier::HiddenLines::LeftOut);
    bool canCopy() const;
    /// Whole lines are selected.
    bool canCopyRows() const;
    void cancelCopy();
    void selectAll();

    /// The window's size has changed: the line column gets what the others leave.
    void updateLineColumnWidth();

Q_SIGNALS:
    void rowCountChanged();
    /// Lines have been added to the file since its first scan, and are known now.
    void linesArrived(qint64 count);
    /// A page has arrived, or failed to.
    void rowsArrived();
    void wrappingChanged();
    void lineNumbersChanged();
    void selectionChanged();
    /// Copying goes on in the background: percent done, or -1 when it has ended.
    void copyProgress(int percent);
    void userMessage(const QString& text);
    /// It holds no longer.
    void userMessageOver(const QString& text);
    /// The first time that the text of the visible rows is on the screen.
    void firstRowsShown();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void observeRows();
    void rowsUpdatedInTable(const RowsUpdatedNotificationObject& rows);
    /// The rows between these, both included, have been loaded or must be requested again.
    void dataSourceLoadedLines(qint64 firstRow, qint64 lastRow);
    /// New rows are followed by a view that stands at the end.
    bool followsEnd() const;
    /// The table shows other rows of the same file.
    void rowStartChanged();
    void handleUserDefaultsChanged(const QString& key);
    void applyFont();
    void applyColors();
    void quickHighlightSelection();
    void updateLineNumberColumn();
    void lineMarkColClicked(qint64 row);
    void observeLineMarks();
    void showSearchMessage(const QString& text);
    QString noSuchLine(qint64 lineNumber) const;
    void followPendingLine(bool isLast);
    void followPendingPlace(bool isLast);
    /// A server that is lost empties the view while the file is followed: place and selection come back with
    /// the rows.
    void keepEmptiedView();
    void restoreEmptiedView();
    bool isCutOff() const;
    void visibleRowsChanged();
    /// Asks for the pages of the rows on the screen, where they are to be read (again).
    void requestVisiblePages();

    const std::shared_ptr<Document> document_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    LogTableView* tableView_;
    LogSearch* search_;
    EndFollower* endFollower_;
    QMenu* contextMenu_ = nullptr;
    bool wrappingLines_ = false;
    /// Kept while it is out of the table.
    std::optional<LogTableView::Column> lineNumTableCol_;
    qreal sidebarWidth_ = 0;
    std::optional<qint64> pendingLine_;
    std::optional<Place> pendingPlace_;
    /// The rows known now are those of before the file is read again: no place is sought among them.
    bool hasOldRows_ = false;
    struct EmptiedView {
        Place place;
        RowSelection selection;
        qint64 currentRow = -1;
        qint64 rowCount = 0;
        /// Its server was lost; otherwise the file itself has been emptied.
        bool isCutOff = false;
    };
    std::optional<EmptiedView> emptiedView_;
    /// How the last search ended.
    QString searchMessage_;

    LineMarker* lineMarker_;
    PrimarySelection* primarySelection_;
    LineCopier* copier_;

    Notice<QString> quickHighlightTextSelected_{"QuickHighlightTextSelectedNotification"};
    Subscriptions subscriptions_;
    UserDefaults::Token preferencesToken_;
};

} // namespace korvane
