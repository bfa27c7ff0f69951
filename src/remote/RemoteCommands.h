#pragma once

#include <QString>

#include <cstdint>

/// What servers are asked by commands: the one place that holds their texts.
///
/// A path stands between double quotation marks as it is. Where something in it would mean more than itself
/// there (`"`, `$`, a backquote, `\`, a line feed, or `!` in csh), the same commands run in `sh -c`, which
/// makes the name from its bytes, so that any shell of the user passes it on unchanged. Any thread.
namespace korvane::remotecommands {

/// How many lines the file has: `wc -l < "P"`.
QString countLines(const QString& path);
/// The size in bytes of what stands at the path itself: `ls -nl "P" | awk '{print $5}'`.
QString size(const QString& path);
/// Of the file that a link leads to, and a line that tells which file it is (for `takeIdentity`).
QString sizeAndIdentity(const QString& path);
/// `count` lines from the zero-based one on: `tail -n+FIRST "P" | head -n COUNT`.
QString lines(const QString& path, qint64 first, qint64 count);

/// As many lines as begin at a byte.
QString linesFrom(const QString& path, quint64 offset, qint64 count);
/// How many lines end within so many bytes from the start.
QString countWithin(const QString& path, quint64 bytes);
/// How many lines end within so many bytes from an offset.
QString countWithin(const QString& path, quint64 offset, quint64 bytes);
/// How many bytes a line has, with its newline.
QString lengthOfLine(const QString& path, qint64 line);

/// The line that tells which file it is, and all bytes from the offset on.
QString identityAndRest(const QString& path, quint64 offset);
/// As above with at most so many bytes, behind a first line with the size of the file.
QString sizeIdentityAndBytes(const QString& path, quint64 offset, quint64 bytes);
/// Takes the line that tells which file it is from the start of an answer. Empty when the server does not
/// tell.
QByteArray takeIdentity(QByteArray& answer, const QString& path);

} // namespace korvane::remotecommands
