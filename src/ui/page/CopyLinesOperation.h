#pragma once

#include "core/RowMap.h"
#include "foundation/work/Operation.h"
#include "ui/logtable/RowSelection.h"
#include "ui/page/CopyFormat.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace korvane {

class LineTexts;

/// Reads any number of lines from a file in the background, for the clipboard.
class CopyLinesOperation : public Operation {
public:
    enum class Hidden { LeftOut, Included };
    enum class End { Read, Cancelled, Unreadable };
    /// The result, in the format; `text` and `lines` cover the lines that could be read.
    struct Outcome {
        End end = End::Cancelled;
        QString text;
        qint64 lines = 0;
        /// Lines left out because rules hide them.
        qint64 hiddenLines = 0;
    };
    /// Lines that are copied because the table shows them, whether rules hide them or not.
    struct Shown {
        RowMap map;
        /// The line of the first row.
        qint64 rowStart = 0;

        /// The first line from `line` on that is shown; `end` without one before it.
        qint64 next(qint64 line, qint64 end) const;
        bool contains(qint64 line) const { return map.shows(line - rowStart); }
    };
    /// Leaves all other lines out, and evaluates no rules. Before the operation is started.
    void setShown(Shown shown) { shown_ = std::move(shown); }
    /// Before the operation is started.
    void setFormat(CopyFormat format) { format_ = std::move(format); }

    /// `lines`: zero-based line indexes. Both callbacks run on the main thread; `progress` gets percent.
    CopyLinesOperation(std::shared_ptr<LineTexts> dataSource, std::vector<RowSelection::Range> lines,
                       Hidden hidden, std::function<void(int)> progress,
                       std::function<void(const Outcome& outcome)> done);

protected:
    void main() override;

private:
    /// Adds the lines that are copied; false once cancelled.
    bool copyLines(qint64 first, qint64 count, Outcome& to);
    void copyLine(qint64 line, const QString& text, Outcome& to);
    void finish(Outcome outcome);

    const std::shared_ptr<LineTexts> dataSource_;
    const std::vector<RowSelection::Range> lines_;
    const Hidden hidden_;
    std::optional<Shown> shown_;
    CopyFormat format_;
    std::vector<RowSelection::Range> copied_;
    const std::function<void(int)> progress_;
    const std::function<void(const Outcome& outcome)> done_;
};

} // namespace korvane
