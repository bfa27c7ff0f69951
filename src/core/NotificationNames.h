#pragma once

#include <QString>

namespace korvane::notification {

/// Object: std::shared_ptr<RowsUpdatedNotificationObject>. Lines were added or changed. Main thread.
inline const QString rowsUpdated = QStringLiteral("RowsUpdatedNotificationKey");
/// Object: std::shared_ptr<FileStatusNotificationObject>. Another file, or none, stands at the path of a
/// followed document. Main thread.
inline const QString fileStatusChanged = QStringLiteral("FileStatusChangedNotification");
/// Object: std::shared_ptr<DocumentProtocol>. Following its file has begun or ended. Main thread.
inline const QString tailingChanged = QStringLiteral("TailingChangedNotification");
/// Object: std::shared_ptr<DocumentProtocol>. The connection to its computer is in another state. Main
/// thread.
inline const QString connectionStateChanged = QStringLiteral("ConnectionStateChangedNotification");
/// Rows have arrived in some data source, or must be asked for again; sender: the data source. Object, where
/// a page of a remote file has arrived: qint64, its number; else none. Main thread.
inline const QString dataSourceLoadedLines = QStringLiteral("DataSourceLoadedLinesNotification");
/// Object: std::shared_ptr<DocumentProtocol>. A document's window is there. Main thread.
inline const QString documentLoaded = QStringLiteral("DocumentLoadedNotificationKey");
/// Object: QString, the text selected in a log view; sender: that log view. Main thread.
inline const QString quickHighlightTextSelected = QStringLiteral("QuickHighlightTextSelectedNotification");

/// Object: FiltersManagerNotification. The list of rules has changed and been saved. Main thread.
inline const QString filterManager = QStringLiteral("FilterManagerNotificationKey");
/// Object: QString, the document's key. Other rules are switched on for it. Main thread.
inline const QString activeRulesChanged = QStringLiteral("ActiveRulesChangedNotification");
/// Object: QString, the document's key. What its rules have given up on has changed: see
/// RuleEnforcerProtocol::slowRules. Main thread.
inline const QString slowRulesChanged = QStringLiteral("SlowRulesChangedNotification");

/// Object: bool, whether searches go forwards from now on; sender: the window. Main thread.
inline const QString searchDirectionToggled = QStringLiteral("SearchDirectionToggledNotification");

/// No object. Bookmarks were added or removed; sender: the outline by which. Main thread.
inline const QString bookmarksUpdated = QStringLiteral("BookmarksUpdatedNotification");
/// No object. Hosts or groups have changed, and with them where remote bookmarks are listed. Main thread.
inline const QString remoteHostGroupChanged = QStringLiteral("RemoteHostGroupChangedNotification");
/// No object. Some file's line marks have changed. Main thread.
inline const QString lineMarksChanged = QStringLiteral("LineMarksChangedNotificationKey");
/// Object: qint64, the one-based number of the line to go to; sender: the window. Main thread.
inline const QString lineMarksJumpToLine = QStringLiteral("LineMarksJumpToLineNotificationKey");
/// Object: std::vector<qint64>, the zero-based indexes of the lines that lost their marks; sender: the
/// window. Main thread.
inline const QString lineMarksDeleted = QStringLiteral("LineMarksDeletedNotificationKey");
/// Object: QString, what the user is to be told in passing; sender: the document concerned, null for all.
/// Main thread.
inline const QString globalUserUpdate = QStringLiteral("GlobalUserUpdateNotificationKey");

} // namespace korvane::notification
