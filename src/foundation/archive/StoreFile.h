#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace korvane {

/// The file's content; nullopt when there is no file.
Result<std::optional<QByteArray>> readStoreFile(const QString& path);

/// Replaces the file as a whole: even after a crash its path has the old content or the new. Only the user
/// may read it. Makes the directory if it is absent; of a symbolic link, replaces the target.
Status writeStoreFile(const QString& path, const QByteArray& content);

/// Copies the file to the path with ".kept" at the end, or with the first number that is free. Does nothing
/// when there is no file.
Status keepCopy(const QString& path);

/// Renames the file to the path with ".damaged-1" at the end, or the first number that is free; answers the
/// new path.
Result<QString> setAside(const QString& path);

} // namespace korvane
