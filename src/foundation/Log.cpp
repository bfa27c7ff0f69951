#include "foundation/Log.h"

namespace korvane {

Q_LOGGING_CATEGORY(logFoundation, "korvane.foundation")
Q_LOGGING_CATEGORY(logCore, "korvane.core")
Q_LOGGING_CATEGORY(logDocuments, "korvane.documents")
Q_LOGGING_CATEGORY(logRemote, "korvane.remote")
Q_LOGGING_CATEGORY(logUi, "korvane.ui")
Q_LOGGING_CATEGORY(logTiming, "korvane.timing", QtWarningMsg)

} // namespace korvane
