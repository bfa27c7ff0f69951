#pragma once

#include "core/RowMap.h"
#include "filtering/ShownLines.h"
#include "foundation/archive/UserDefaults.h"
#include "foundation/notices/Notice.h"
#include "ui/page/OverviewStrip.h"

#include <QObject>

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace korvane {

class Document;
class EndFollower;
class LogTableView;
class TailDataSourceProtocol;
struct RowsUpdatedNotificationObject;

/// Leaves the lines that rules hide out of the table, if the user wants that. Marked lines, and lines that
/// were looked up, are shown nevertheless. Files on servers show all their rows. Main thread; belongs to the
/// page.
class ShownRows : public QObject {
    Q_OBJECT

public:
    /// `followsEnd`: whether a view at the end stays there. Table and follower must outlive this.
    ShownRows(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
              LogTableView& table, EndFollower& endFollower, std::function<bool()> followsEnd,
              QObject* parent);
    ~ShownRows() override;

    /// Brings the table up to date with the number of rows.
    void update();
    /// Lines have been appended or have changed. Before `update`.
    void linesChanged(const RowsUpdatedNotificationObject& rows);
    /// The lines are read in another encoding. After `linesChanged`, if the file is read again.
    void encodingChanged();
    /// Lines are examined only for a visible table.
    void setVisible(bool isVisible);
    enum class Reveal : unsigned char { Match, Line };
    /// Shows a row, in place of the last one of its kind. Calls `then` once it is shown: at once, or with the
    /// next map. A later call replaces an earlier one.
    void reveal(Reveal kind, qint64 row, std::function<void()> then);
    /// Shows some rows of the gap that `row` lies in, or all of them.
    void openGap(qint64 row, bool isWhole);

    /// Conditions beside the rules, for files on this computer.
    bool canHaveConditions() const { return lines_ != nullptr; }
    const ShownLines::Conditions& conditions() const { return conditions_; }
    void setConditions(ShownLines::Conditions conditions);
    /// Lines found so far for a condition.
    qint64 matchCount(const SearchItem& item) const;

    /// Counts the lines with a match; files on servers are not counted.
    void setCounted(const std::optional<SearchItem>& search);
    std::optional<ShownLines::Counted> counted() const;

    /// What a strip beside the table shows; empty for a file on a server.
    OverviewStrip::Content overview() const;

    /// Whether rules hide lines whose rows stay.
    bool couldLeaveOut() const;
    /// Whether some rows are left out now.
    bool leavesOut() const;
    /// Lines that rules do not hide, as far as lines have been examined.
    qint64 unhiddenRowCount() const;
    /// Of the lines of the file, for what is hidden.
    int percentExamined() const;

Q_SIGNALS:
    void changed();
    void conditionsChanged();
    void countedChanged();
    /// Other lines are marked, or other rows are there.
    void marksChanged();

private:
    void takeRules();
    void takeMode();
    void takeMarks();
    /// Lines that are shown whatever the rules say.
    void publishAlwaysShown();
    void mapChanged();

    const std::shared_ptr<Document> document_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    LogTableView& table_;
    EndFollower& endFollower_;
    const std::function<bool()> followsEnd_;
    /// Null for a file on a server.
    std::unique_ptr<ShownLines> lines_;
    ShownLines::Conditions conditions_;
    /// Opened gaps, as first line and number.
    std::map<qint64, qint64> opened_;
    /// The last line of each kind.
    std::map<Reveal, qint64> revealed_;
    std::vector<qint64> marked_;
    /// The last row of the table is the last one that there is.
    bool hasLastRow_ = true;
    struct Pending {
        qint64 line = 0;
        std::function<void()> then;
    };
    std::unique_ptr<Pending> pending_;
    Subscriptions subscriptions_;
    UserDefaults::Token preferencesToken_;
};

} // namespace korvane
