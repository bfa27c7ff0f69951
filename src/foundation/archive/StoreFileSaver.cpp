#include "foundation/archive/StoreFileSaver.h"

#include <QCoreApplication>

namespace korvane {

QString storeLeftOutText(const QString& path, int count) {
    return QCoreApplication::translate("StoreFile", "Not all can be read, left out: %1, of “%2”")
        .arg(QString::number(count), path);
}

Error storeReadError(const QString& path, const Error& fault) {
    return {fault.code, fault.domain,
            QCoreApplication::translate("StoreFile", "“%1” cannot be read: %2").arg(path, fault.userText)};
}

void StoreFileSaver::save(const QByteArray& archive) {
    if (keepsOldFile_) {
        if (const Status kept = keepCopy(path_); !kept) {
            fault_ = kept.error().userText;
            return;
        }
        keepsOldFile_ = false;
    }
    const Status written = writeStoreFile(path_, archive);
    fault_ = written ? QString() : written.error().userText;
    hasFile_ = hasFile_ || written;
}

} // namespace korvane
