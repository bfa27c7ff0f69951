#include "remote/RemoteLoadLinesOperation.h"

#include "core/reader/LogReader.h"
#include "foundation/text/StringEncoding.h"
#include "remote/RemoteFile.h"

#include <utility>

namespace korvane {
namespace {

/// Very long lines are cut, as those of local files are.
DisplayLine shown(QString line, qsizetype longest) {
    if (line.size() <= longest)
        return {std::move(line), 0};
    const qsizetype kept = line.at(longest - 1).isHighSurrogate() ? longest - 1 : longest;
    return {line.first(kept), encodedSize(QStringView(line).sliced(kept), encoding::utf8)};
}

} // namespace

RemoteLoadLinesOperation::RemoteLoadLinesOperation(std::weak_ptr<TailDataSource> dataSource,
                                                   std::shared_ptr<RemoteFile> file,
                                                   const PageRequest& request)
    : PageLoadOperation(std::move(dataSource), request), file_(std::move(file)) {}

std::optional<DisplayLines> RemoteLoadLinesOperation::readLines() {
    std::optional<QStringList> lines = file_->page(request().page, [this] { return isCancelled(); });
    if (!lines) {
        // Only ends here: the page stays one that has been asked for.
        Operation::cancel(); // NOLINT(bugprone-parent-virtual-call)
        return std::nullopt;
    }
    std::vector<std::uint64_t> lengths;
    for (const QString& line : *lines)
        lengths.push_back(static_cast<std::uint64_t>(line.size()));
    const auto longest = static_cast<qsizetype>(LogReader::longestLineAmong(lengths));
    DisplayLines read;
    read.lines.reserve(static_cast<std::size_t>(lines->size()));
    for (QString& line : *lines)
        read.lines.push_back(shown(std::move(line), longest));
    return read;
}

} // namespace korvane
