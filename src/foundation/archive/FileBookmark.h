#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QUrl>

#include <optional>

namespace korvane {

/// The data by which the settings refer to a file that the user has chosen. Any thread.

/// Fails when the file cannot be opened for reading.
Result<QByteArray> fileBookmark(const QUrl& fileUrl);

/// Nullopt if the file no longer exists or the data is not a file bookmark.
std::optional<QUrl> resolvedFileBookmark(const QByteArray& bookmark);

} // namespace korvane
