#include "foundation/FilePath.h"

#include <QList>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <unistd.h>

namespace korvane {
namespace {

QByteArray currentDirectory() {
    char buffer[PATH_MAX];
    // A deleted directory has no path, but can still be referred to.
    return ::getcwd(buffer, sizeof buffer) ? QByteArray(buffer) : QByteArray("/proc/self/cwd");
}

/// Resolves ".." as the kernel would: behind a symbolic link only the file system can tell.
QByteArray withoutDots(const QByteArray& absolutePath) {
    QByteArray path;
    for (const QByteArray& part : absolutePath.split('/')) {
        if (part.isEmpty() || part == ".")
            continue;
        if (part != "..") {
            path += '/' + part;
            continue;
        }
        char real[PATH_MAX];
        if (::realpath(path.isEmpty() ? "/" : path.constData(), real))
            path = real;
        path.truncate(std::max<qsizetype>(path.lastIndexOf('/'), 0));
    }
    return path.isEmpty() ? QByteArray("/") : path;
}

/// Line and paragraph separators, and the marks that could show parts of a name in another order.
bool isLayoutControl(char16_t unit) {
    return unit == 0x2028 || unit == 0x2029 || unit == 0x200E || unit == 0x200F || unit == 0x061C ||
           (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
}

QString visibleText(const QByteArray& bytes) {
    return displayText(QString::fromUtf8(bytes));
}

} // namespace

QString displayText(QString text) {
    for (QChar& unit : text) {
        if (unit.unicode() < 0x20)
            unit = QChar(0x2400 + unit.unicode()); // the symbol for the control character
        else if (unit.unicode() == 0x7F)
            unit = QChar(0x2421);
        else if (unit.category() == QChar::Other_Control || isLayoutControl(unit.unicode()))
            unit = QChar::ReplacementCharacter;
    }
    return text;
}

QUrl fileUrlFromPath(const QByteArray& path, const QByteArray& workingDirectory) {
    QByteArray absolute = path;
    if (!path.startsWith('/'))
        absolute = (workingDirectory.isEmpty() ? currentDirectory() : workingDirectory) + '/' + path;
    return QUrl::fromEncoded("file://" + withoutDots(absolute).toPercentEncoding("/!$&'()*+,:=@"),
                             QUrl::StrictMode);
}

QByteArray localPath(const QUrl& fileUrl) {
    return QByteArray::fromPercentEncoding(fileUrl.path(QUrl::FullyEncoded).toLatin1());
}

QString absoluteString(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded);
}

QString displayName(const QUrl& url) {
    const QByteArray path = localPath(url);
    return visibleText(path.mid(path.lastIndexOf('/') + 1));
}

QString displayPath(const QUrl& url) {
    return visibleText(localPath(url));
}

QString displayAddress(const QUrl& url) {
    // The fragment only distinguishes hosts with equal addresses; it is not for display.
    return url.isLocalFile() ? displayPath(url)
                             : displayText(url.toString(QUrl::PrettyDecoded | QUrl::RemoveFragment));
}

} // namespace korvane
