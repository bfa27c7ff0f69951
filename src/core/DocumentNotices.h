#pragma once

#include "core/FileStatus.h"
#include "core/RowsUpdatedNotificationObject.h"
#include "foundation/notices/Notice.h"

#include <QString>

namespace korvane {

/// Notices from a document to its windows. All are posted on the main thread, none after the document was
/// closed.
struct DocumentNotices {
    /// Lines were added or changed.
    Notice<RowsUpdatedNotificationObject> rowsUpdated{"RowsUpdatedNotificationKey"};
    /// A followed file was replaced, deleted, truncated, or is there again.
    Notice<FileStatus> fileStatusChanged{"FileStatusChangedNotification"};
    /// Loading or reading again has begun or ended: see `Document::loadState`. Posted after the last notice
    /// of the rows that were read.
    Notice<> loadStateChanged{"LoadStateChangedNotification"};
    /// Following the file has begun or ended.
    Notice<> tailingChanged{"TailingChangedNotification"};
    /// The state of the connection to the file's server, or the fault of the file there, has changed.
    Notice<> connectionStateChanged{"ConnectionStateChangedNotification"};
    /// Rules were given up on, or no longer are: see `RuleEnforcerProtocol::slowRules`.
    Notice<> slowRulesChanged{"SlowRulesChangedNotification"};
    /// The document is open and its window is there.
    Notice<> loaded{"DocumentLoadedNotificationKey"};
    /// A passing message for the user.
    Notice<QString> userUpdate{"GlobalUserUpdateNotificationKey"};
};

} // namespace korvane
