#pragma once

#include <memory>

namespace korvane {

class DocumentProtocol;

/// How a followed file stands to its path.
enum class FileStatus : unsigned char {
    Present,    ///< the file at the path is the one shown
    Rotated,    ///< another file stood there: it is the one shown now, from its first line
    Deleted,    ///< nothing stands there; the rows of the old file stay
    Unreadable, ///< another file stands there which cannot be read; the rows of the old file stay
};

/// What travels with `notification::fileStatusChanged`, held by shared pointer.
struct FileStatusNotificationObject {
    std::weak_ptr<DocumentProtocol> doc;
    FileStatus status = FileStatus::Present;
};

} // namespace korvane
