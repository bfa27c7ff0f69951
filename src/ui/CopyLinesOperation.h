#pragma once

#include "core/LogFileReaderProtocol.h"
#include "foundation/Operation.h"
#include "ui/RowSelection.h"

#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

/// Reads lines of any number from a file in the background, for the clipboard.
class CopyLinesOperation : public Operation {
public:
    /// `lines`: zero-based line indexes. Both callbacks run on the main thread; `progress` gets percent,
    /// `done` the text, or nothing when cancelled.
    CopyLinesOperation(std::shared_ptr<LogFileReaderProtocol> reader, std::vector<RowSelection::Range> lines,
                       std::function<void(int)> progress, std::function<void(std::optional<QString>)> done);

protected:
    void main() override;

private:
    const std::shared_ptr<LogFileReaderProtocol> reader_;
    const std::vector<RowSelection::Range> lines_;
    const std::function<void(int)> progress_;
    const std::function<void(std::optional<QString>)> done_;
};

} // namespace korvane
