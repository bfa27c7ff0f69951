#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

namespace korvane {

/// Paths of the local disk are bytes, not text. They travel as file URLs, whose percent-encoding keeps every
/// byte; these are the only places that turn one into the other. Any thread.

/// The file URL of a path; a relative path is taken from `workingDirectory`. "." and ".." are resolved by
/// name.
QUrl fileUrlFromPath(const QByteArray& path, const QByteArray& workingDirectory = {});

/// The bytes of a file URL's path.
QByteArray localPath(const QUrl& fileUrl);

/// The whole address as text, by which the system tells files apart.
QString absoluteString(const QUrl& url);

/// A name for showing: control characters, and marks that would show its parts in another order, become
/// visible.
QString displayText(QString text);
/// Last component and whole path for showing, as above; bytes that are no UTF-8 become visible, too.
QString displayName(const QUrl& url);
QString displayPath(const QUrl& url);
/// The path of a local file; otherwise the address without its fragment.
QString displayAddress(const QUrl& url);

} // namespace korvane
