#pragma once

#include <QString>

#include <cstdint>

/// The texts of all commands sent to servers.
///
/// A path is written between double quotation marks. If a character in it would be special there (`"`, `$`, a
/// backquote, `\`, a line feed, or `!` in csh), the same commands run in `sh -c`, which builds the name from
/// its bytes, so that any login shell passes it on unchanged. Any thread.
namespace korvane::remotecommands {

/// Counts the lines of the file: `wc -l < "P"`.
QString countLines(const QString& path);
/// The size in bytes of the entry at the path itself, even of a link: `ls -nl "P" | awk '{print $5}'`.
QString size(const QString& path);
/// The size of the file that a link leads to, and a line that identifies the file (for `takeIdentity`).
QString sizeAndIdentity(const QString& path);
/// `count` lines from the zero-based line `first`: `tail -n+FIRST "P" | head -n COUNT`.
QString lines(const QString& path, qint64 first, qint64 count);

/// `count` lines from the byte `offset`.
QString linesFrom(const QString& path, quint64 offset, qint64 count);
/// Counts the newlines in the first `bytes` bytes.
QString countWithin(const QString& path, quint64 bytes);
/// Counts the newlines in `bytes` bytes from the offset.
QString countWithin(const QString& path, quint64 offset, quint64 bytes);
/// The length of a line in bytes, with its newline.
QString lengthOfLine(const QString& path, qint64 line);

/// The line that identifies the file, and all bytes from the offset on.
QString identityAndRest(const QString& path, quint64 offset);
/// As above with at most `bytes` bytes, after a first line with the size of the file.
QString sizeIdentityAndBytes(const QString& path, quint64 offset, quint64 bytes);
/// Removes the line that identifies the file from the start of an answer. Empty if the server does not
/// identify it.
QByteArray takeIdentity(QByteArray& answer, const QString& path);

} // namespace korvane::remotecommands
