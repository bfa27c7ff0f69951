#pragma once

#include "foundation/notices/Notice.h"

#include <vector>

namespace korvane {

/// Changes of bookmarks and line marks, posted by the windows that make them, after everything is saved. Main
/// thread.
struct BookmarkNotices {
    /// Bookmarks were added or removed.
    Notice<> bookmarksUpdated{"BookmarksUpdatedNotification"};
    /// A log view has changed the line marks of its file.
    Notice<> lineMarksChanged{"LineMarksChangedNotificationKey"};
    /// Line marks were deleted from their list. Payload: the zero-based indexes of their lines.
    Notice<std::vector<qint64>> lineMarksDeleted{"LineMarksDeletedNotificationKey"};
};

} // namespace korvane
