#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace korvane {

/// The file's content; nullopt if there is no file.
Result<std::optional<QByteArray>> readStoreFile(const QString& path);

/// Replaces the file atomically: even after a crash it has the old content or the new. Readable for the user
/// only. Creates the directory if it is absent; replaces the target of a symbolic link.
Status writeStoreFile(const QString& path, const QByteArray& content);

/// Copies the file to the path with ".kept" appended, or with the first free number. Does nothing if there is
/// no file.
Status keepCopy(const QString& path);

/// Renames the file to the path with ".damaged-1" appended, or the first free number; returns the new path.
Result<QString> setAside(const QString& path);

} // namespace korvane
