#pragma once

#include <QString>

namespace korvane::notification {

/// Object: std::shared_ptr<RowsUpdatedNotificationObject>. Lines were added or changed. Main thread.
inline const QString rowsUpdated = QStringLiteral("RowsUpdatedNotificationKey");
/// No object. A page of rows has arrived in some data source; sender: the data source. Main thread.
inline const QString dataSourceLoadedLines = QStringLiteral("DataSourceLoadedLinesNotification");
/// Object: std::shared_ptr<DocumentProtocol>. A document's window is there. Main thread.
inline const QString documentLoaded = QStringLiteral("DocumentLoadedNotificationKey");
/// Object: QString, the text selected in a log view; sender: that log view. Main thread.
inline const QString quickHighlightTextSelected = QStringLiteral("QuickHighlightTextSelectedNotification");

} // namespace korvane::notification
