#pragma once

#include <memory>

namespace korvane {

class DocumentProtocol;

/// How a followed file stands to its path.
enum class FileStatus : unsigned char {
    Present,    ///< the file at the path is the one shown
    Rotated,    ///< another file stood there: it is the one shown now, from its first line
    Deleted,    ///< nothing stands there; the rows of the old file stay
    Unreadable, ///< what stands there cannot be read; the rows read before stay
    Truncated,  ///< the file was cut short or written anew: it is shown from its first line
};

/// What travels with `notification::fileStatusChanged`, held by shared pointer.
struct FileStatusNotificationObject {
    std::weak_ptr<DocumentProtocol> doc;
    FileStatus status = FileStatus::Present;
};

} // namespace korvane
