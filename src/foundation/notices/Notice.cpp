#include "foundation/notices/Notice.h"

#include <QLoggingCategory>

namespace korvane {
namespace {

Q_LOGGING_CATEGORY(logNotices, "korvane.notices", QtInfoMsg)

} // namespace

void logNotice(const char* name) {
    qCDebug(logNotices, "%s", name);
}

} // namespace korvane
