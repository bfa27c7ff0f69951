#pragma once

#include "foundation/Result.h"
#include "foundation/archive/StoreFile.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <utility>

namespace korvane {

/// How a store's archive is read: what it holds, with the count `leftOut` of what could not be read.
template <typename Content>
using Unarchive = Result<Content> (*)(const QByteArray& archive);

/// Reads a store's file; nothing when there is none. Fails, naming file and fault, on one that does not
/// decode.
template <typename Content>
Result<std::optional<Content>> readStore(const QString& path, Unarchive<Content> unarchive);

/// For the user: so many records of the file are missing from what was read.
QString storeLeftOutText(const QString& path, int count);

/// The file of one store that is saved whole at every change, with what went wrong last. A file of which
/// something was left out is copied aside before it is overwritten. Main thread.
class StoreFileSaver {
public:
    explicit StoreFileSaver(QString path) : path_(std::move(path)) {}

    const QString& path() const { return path_; }
    /// Whether the file is there, as far as this object has read or written it.
    bool hasFile() const { return hasFile_; }

    /// As `readStore`; what was left out is told by `fault`.
    template <typename Content>
    Result<std::optional<Content>> read(Unarchive<Content> unarchive);

    /// Replaces the file; a failed write keeps the old one and is told by `fault`.
    void save(const QByteArray& archive);

    /// For the user: what could not be saved, or what of the file was left out. Empty for nothing.
    const QString& fault() const { return fault_; }
    void setFault(const QString& text) { fault_ = text; }

private:
    const QString path_;
    QString fault_;
    bool hasFile_ = false;
    /// Something in the file was left out.
    bool keepsOldFile_ = false;
};

/// What `readStore` fails with.
Error storeReadError(const QString& path, const Error& fault);

template <typename Content>
Result<std::optional<Content>> readStore(const QString& path, Unarchive<Content> unarchive) {
    const Result<std::optional<QByteArray>> archive = readStoreFile(path);
    if (!archive)
        return archive.error();
    if (!archive.value())
        return std::optional<Content>();
    Result<Content> content = unarchive(*archive.value());
    if (!content)
        return storeReadError(path, content.error());
    return std::optional<Content>(std::move(content).value());
}

template <typename Content>
Result<std::optional<Content>> StoreFileSaver::read(Unarchive<Content> unarchive) {
    Result<std::optional<Content>> content = readStore(path_, unarchive);
    if (!content || !content.value())
        return content;
    hasFile_ = true;
    if (const int leftOut = content.value()->leftOut) {
        keepsOldFile_ = true;
        fault_ = storeLeftOutText(path_, leftOut);
    }
    return content;
}

} // namespace korvane
