#include "foundation/archive/ArchivedStore.h"

#include "foundation/archive/StoreFile.h"

#include <QCoreApplication>

namespace korvane {

Result<std::optional<int>> readStore(const QString& path, const RestoreStore& restore) {
    const Result<std::optional<QByteArray>> archive = readStoreFile(path);
    if (!archive)
        return archive.error();
    if (!archive.value())
        return std::optional<int>();
    const Result<int> leftOut = restore(*archive.value());
    if (!leftOut)
        return Error{leftOut.error().code, leftOut.error().domain,
                     QCoreApplication::translate("StoreFile", "“%1” cannot be read: %2")
                         .arg(path, leftOut.error().userText)};
    return std::optional(leftOut.value());
}

Status ArchivedStore::read() {
    const Result<std::optional<int>> leftOut =
        readStore(path_, [this](const QByteArray& archive) { return restore(archive); });
    if (!leftOut)
        return leftOut.error();
    hasFile_ = leftOut.value().has_value();
    keepsOldFile_ = leftOut.value().value_or(0) > 0;
    if (keepsOldFile_)
        fault_ = QCoreApplication::translate("StoreFile", "Not all can be read, left out: %1, of “%2”")
                     .arg(QString::number(*leftOut.value()), path_);
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
