#pragma once

#include "foundation/archive/ArchivedList.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace korvane {

class FilterRule;
class HighlightRule;
class NotificationRule;
class SearchItem;

/// The archived form of rules.

namespace rulearchive {

inline const QString KEY_SEARCH_STR = QStringLiteral("searchStr");
inline const QString KEY_REGEX = QStringLiteral("regex");
inline const QString KEY_IGNORE_CASE = QStringLiteral("ignoreCase");

inline const QString KEY_BOLD = QStringLiteral("bold");
inline const QString KEY_ITALIC = QStringLiteral("italic");
inline const QString KEY_UNDERLINE = QStringLiteral("underline");
inline const QString KEY_FG_COLOR = QStringLiteral("fgcolor");
inline const QString KEY_BG_COLOR = QStringLiteral("bgcolor");
inline const QString KEY_USE_VIEW_BG = QStringLiteral("useViewBackground");

inline const QString KEY_ENABLED = QStringLiteral("enabled");
inline const QString KEY_FREQ = QStringLiteral("frequency");
inline const QString KEY_BOUNCE_DOCK = QStringLiteral("bounceDock");

inline const QString KEY_SEARCH_ITEM = QStringLiteral("searchItem");
inline const QString KEY_HIDE = QStringLiteral("hide");
inline const QString KEY_HIGHLIGHT = QStringLiteral("highlight");
inline const QString KEY_NOTIFICATION = QStringLiteral("notification");
inline const QString KEY_ID = QStringLiteral("id");

} // namespace rulearchive

/// Called by KeyedArchiver.
QStringList archivedClassChain(const SearchItem& item);
QStringList archivedClassChain(const HighlightRule& rule);
QStringList archivedClassChain(const NotificationRule& rule);
QStringList archivedClassChain(const FilterRule& rule);
void encode(const SearchItem& item, KeyedEncoder& encoder);
void encode(const HighlightRule& rule, KeyedEncoder& encoder);
void encode(const NotificationRule& rule, KeyedEncoder& encoder);
void encode(const FilterRule& rule, KeyedEncoder& encoder);

/// An archive whose root is the list of rules.
QByteArray archiveRules(const std::vector<std::shared_ptr<FilterRule>>& rules);

/// Fails as `unarchiveList`, and when a required field of a rule is absent or of the wrong kind; the text
/// names rule and field.
Result<UnarchivedList<FilterRule>> unarchiveRules(const QByteArray& archive);

} // namespace korvane
