#pragma once

#include "core/LogFileReaderProtocol.h"
#include "foundation/FileHandle.h"
#include "foundation/Operation.h"

#include <QByteArray>

#include <memory>

namespace korvane {

/// What has become of an open file.
enum class FileFault : unsigned char {
    None,
    Removed,   ///< nothing stands at its path any more
    Replaced,  ///< another file stands at its path
    Truncated, ///< it is shorter than what has been indexed of it
};

/// Compares what stands at a path with the file that was opened there. May wait for a slow disk or network.
class FileCheckOperation : public Operation {
public:
    /// `opened`: the file as it was when it was opened; `logReader`: what has been indexed of it.
    FileCheckOperation(QByteArray path, FileHandle::Identity opened,
                       std::shared_ptr<LogFileReaderProtocol> logReader);

    /// The finding, from the completion on.
    FileFault fault() const { return fault_; }

protected:
    void main() override;

private:
    const QByteArray path_;
    const FileHandle::Identity opened_;
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
    FileFault fault_ = FileFault::None;
};

} // namespace korvane
