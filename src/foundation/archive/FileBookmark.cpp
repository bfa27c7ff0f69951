#include "foundation/archive/FileBookmark.h"

#include "foundation/FileHandle.h"
#include "foundation/FilePath.h"

#include <sys/stat.h>

namespace korvane {

Result<QByteArray> fileBookmark(const QUrl& fileUrl) {
    const auto file = FileHandle::openForReading(fileUrl);
    if (!file)
        return file.error();
    return fileUrl.toEncoded();
}

std::optional<QUrl> resolvedFileBookmark(const QByteArray& bookmark) {
    const QUrl url = QUrl::fromEncoded(bookmark, QUrl::StrictMode);
    const QByteArray path = localPath(url);
    struct stat status {};
    if (!url.isLocalFile() || path.contains('\0') || ::stat(path.constData(), &status) != 0)
        return std::nullopt;
    return url;
}

} // namespace korvane
