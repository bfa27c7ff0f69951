#include "ui/window/FileExistence.h"

#include "foundation/FilePath.h"

#include <QUrl>

#include <cerrno>
#include <sys/stat.h>
#include <utility>

namespace korvane {
namespace {

QStringList missingAmong(const QStringList& urls, const std::stop_token& stop) {
    QStringList missing;
    for (const QString& address : urls) {
        if (stop.stop_requested())
            break;
        const QUrl url = QUrl::fromEncoded(address.toUtf8(), QUrl::StrictMode);
        struct stat status {};
        if (url.isLocalFile() && ::stat(localPath(url).constData(), &status) != 0 &&
            (errno == ENOENT || errno == ENOTDIR))
            missing.append(address);
    }
    return missing;
}

} // namespace

void FileExistence::findMissing(const QStringList& urls,
                                std::function<void(const QStringList& missing)> report) {
    search_.cancel();
    owner_ = std::make_shared<const bool>(true);
    search_ = queue_.run([urls](const std::stop_token& stop) { return missingAmong(urls, stop); })
                  .then(std::weak_ptr(owner_), std::move(report));
}

} // namespace korvane
