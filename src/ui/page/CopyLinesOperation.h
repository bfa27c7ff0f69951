#pragma once

#include "foundation/work/Operation.h"
#include "ui/logtable/RowSelection.h"

#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

class LineTexts;

/// Reads any number of lines from a file in the background, for the clipboard.
class CopyLinesOperation : public Operation {
public:
    enum class Hidden { LeftOut, Included };
    enum class End { Read, Cancelled, Unreadable };
    /// The result; `text` and `lines` cover the lines that could be read.
    struct Outcome {
        End end = End::Cancelled;
        QString text;
        qint64 lines = 0;
        /// Lines left out because rules hide them.
        qint64 hiddenLines = 0;
    };
    /// `lines`: zero-based line indexes. Both callbacks run on the main thread; `progress` gets percent.
    CopyLinesOperation(std::shared_ptr<LineTexts> dataSource, std::vector<RowSelection::Range> lines,
                       Hidden hidden, std::function<void(int)> progress,
                       std::function<void(const Outcome& outcome)> done);

protected:
    void main() override;

private:
    void finish(Outcome outcome);

    const std::shared_ptr<LineTexts> dataSource_;
    const std::vector<RowSelection::Range> lines_;
    const Hidden hidden_;
    const std::function<void(int)> progress_;
    const std::function<void(const Outcome& outcome)> done_;
};

} // namespace korvane
