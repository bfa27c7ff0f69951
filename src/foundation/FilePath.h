#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

namespace korvane {

/// Paths of the local disk are bytes, not text. They are passed as file URLs, whose percent-encoding keeps
/// every byte; only these functions convert between the two. Any thread.

/// The file URL of a path; a relative path is resolved against `workingDirectory`. "." and ".." are resolved
/// by name.
QUrl fileUrlFromPath(const QByteArray& path, const QByteArray& workingDirectory = {});

/// The bytes of a file URL's path.
QByteArray localPath(const QUrl& fileUrl);

/// The whole URL as text; this text identifies a file.
QString absoluteString(const QUrl& url);

/// A name for display: control characters, and marks that would reorder its parts, become visible.
QString displayText(QString text);
/// Last component and whole path for display, as above; bytes that are not UTF-8 become visible, too.
QString displayName(const QUrl& url);
QString displayPath(const QUrl& url);
/// For display: the path of a local file, otherwise the URL without its fragment.
QString displayAddress(const QUrl& url);

} // namespace korvane
