#include "foundation/archive/ArchivedStore.h"

#include "foundation/archive/StoreFile.h"

#include <QCoreApplication>

namespace korvane {

Result<int> readStore(const QString& path, const RestoreStore& restore) {
    const Result<std::optional<QByteArray>> archive = readStoreFile(path);
    if (!archive)
        return archive.error();
    if (!archive.value())
        return noStoreFile;
    Result<int> leftOut = restore(*archive.value());
    if (leftOut)
        return leftOut;
    Error fault = leftOut.error();
    fault.userText =
        QCoreApplication::translate("StoreFile", "“%1” cannot be read: %2").arg(path, fault.userText);
    return fault;
}

Status ArchivedStore::read() {
    const Result<int> leftOut =
        readStore(path_, [this](const QByteArray& archive) { return restore(archive); });
    if (!leftOut)
        return leftOut.error();
    hasFile_ = leftOut.value() != noStoreFile;
    keepsOldFile_ = leftOut.value() > 0;
    if (keepsOldFile_)
        fault_ = QCoreApplication::translate("StoreFile", "Not all can be read, left out: %1, of “%2”")
                     .arg(QString::number(leftOut.value()), path_);
    return success();
}

void ArchivedStore::save() {
    if (keepsOldFile_) {
        if (const Status kept = keepCopy(path_); !kept) {
            fault_ = kept.error().userText;
            return;
        }
        keepsOldFile_ = false;
    }
    const Status written = writeStoreFile(path_, archived());
    fault_ = written ? QString() : written.error().userText;
    hasFile_ = hasFile_ || written;
}

} // namespace korvane
