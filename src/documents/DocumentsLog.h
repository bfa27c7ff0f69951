#pragma once

#include <QLoggingCategory>

namespace korvane {

/// The logging category of open files.
inline const QLoggingCategory& logDocuments() {
    static const QLoggingCategory category("korvane.documents");
    return category;
}

} // namespace korvane
