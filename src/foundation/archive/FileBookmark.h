#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QUrl>

#include <optional>

namespace korvane {

/// Data by which the settings remember a file that the user has picked. Any thread.

/// Fails when the file cannot be opened for reading.
Result<QByteArray> fileBookmark(const QUrl& fileUrl);

/// Nothing when there is no such file any more, or when the data is none of ours.
std::optional<QUrl> resolvedFileBookmark(const QByteArray& bookmark);

} // namespace korvane
