#include "bookmarks/BookmarkEntry.h"

#include "foundation/FilePath.h"

namespace korvane {
namespace {

/// The path as text; percent-encoded if its bytes are not UTF-8, so that different paths never become the
/// same text.
QString pathText(const QUrl& url) {
    const QByteArray bytes = localPath(url);
    return bytes.isValidUtf8() ? QString::fromUtf8(bytes) : url.path(QUrl::FullyEncoded);
}

} // namespace

std::optional<QUrl> parsedUrl(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    return url.isValid() && !url.isEmpty() ? std::optional(url) : std::nullopt;
}

BookmarkEntry::BookmarkEntry(QString name, const QUrl& url)
    : BookmarkEntry(std::move(name), pathText(url), absoluteString(url)) {}

BookmarkEntry::BookmarkEntry(QString name, QString path, QString urlStr)
    : name_(std::move(name)), path_(std::move(path)), urlStr_(std::move(urlStr)) {}

std::optional<QUrl> BookmarkEntry::url() const {
    return parsedUrl(urlStr_);
}

bool BookmarkEntry::isLocal() const {
    const std::optional<QUrl> own = url();
    return own ? own->isLocalFile() : path_.startsWith(QStringLiteral("file:"));
}

bool BookmarkEntry::matches(const QUrl& other) const {
    if (path_ != pathText(other) || isLocal() != other.isLocalFile())
        return false;
    return other.isLocalFile() || other.host() == url().value_or(QUrl()).host();
}

} // namespace korvane
