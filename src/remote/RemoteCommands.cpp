#include "remote/RemoteCommands.h"

#include <algorithm>

namespace korvane::remotecommands {
namespace {

using namespace Qt::StringLiterals;

/// Whether the path can be written between double quotation marks, also for csh, in which "!" refers to an
/// earlier command.
bool isPlain(const QString& path) {
    return std::none_of(path.begin(), path.end(),
                        [](QChar character) { return "\"$`\\\n!"_L1.contains(character); });
}

/// Replaces `{path}` in the command by the path as a word of the shell, and `{awk}` by the command that takes
/// the size from a listing.
QString onPath(const QString& command, const QString& path) {
    const auto filled = [&command](const QString& word, const QString& awk) {
        QString text = command;
        return text.replace("{awk}"_L1, awk).replace("{path}"_L1, word);
    };
    if (isPlain(path))
        return filled(u'"' + path + u'"', u"awk '{print $5}'"_s);
    QString octal;
    for (const char byte : path.toUtf8())
        octal += u'\\' + QString::number(static_cast<unsigned char>(byte), 8).rightJustified(3, u'0');
    // A shell drops trailing line feeds from the output of a command: the guard keeps those of the name.
    return u"sh -c 'P=\"$(printf \"%1x\")\"; "_s.arg(octal) +
           filled(u"\"${P%x}\""_s, u"awk \"NR==1{print \\$5}\""_s) + u'\'';
}

QString number(std::integral auto value) {
    return QString::number(value);
}

/// tail(1) counts bytes from one.
QString from(quint64 offset) {
    return u"tail -c +%1 {path}"_s.arg(offset + 1);
}

} // namespace

QString countLines(const QString& path) {
    return onPath(u"wc -l < {path}"_s, path);
}

QString size(const QString& path) {
    return onPath(u"ls -nl {path} | {awk}"_s, path);
}

QString sizeAndIdentity(const QString& path) {
    return onPath(u"ls -nlL {path} | {awk}; ls -diL {path}"_s, path);
}

QString lines(const QString& path, qint64 first, qint64 count) {
    return onPath(u"tail -n+"_s + number(first + 1) + u" {path} | head -n "_s + number(count), path);
}

QString linesFrom(const QString& path, quint64 offset, qint64 count) {
    return onPath(from(offset) + u" | head -n "_s + number(count), path);
}

QString countWithin(const QString& path, quint64 bytes) {
    return onPath(u"head -c "_s + number(bytes) + u" {path} | wc -l"_s, path);
}

QString countWithin(const QString& path, quint64 offset, quint64 bytes) {
    return onPath(from(offset) + u" | head -c "_s + number(bytes) + u" | wc -l"_s, path);
}

QString lengthOfLine(const QString& path, qint64 line) {
    return onPath(u"tail -n+"_s + number(line + 1) + u" {path} | head -n 1 | wc -c"_s, path);
}

QString identityAndRest(const QString& path, quint64 offset) {
    return onPath(u"ls -diL {path}; "_s + from(offset), path);
}

QString sizeIdentityAndBytes(const QString& path, quint64 offset, quint64 bytes) {
    return onPath(u"ls -nlL {path} | {awk}; ls -diL {path}; "_s + from(offset) + u" | head -c "_s +
                      number(bytes),
                  path);
}

QByteArray takeIdentity(QByteArray& answer, const QString& path) {
    qsizetype begin = 0;
    while (begin < answer.size() && answer[begin] == ' ')
        ++begin;
    qsizetype end = begin;
    while (end < answer.size() && answer[end] >= '0' && answer[end] <= '9')
        ++end;
    const QByteArray rest = ' ' + path.toUtf8() + '\n';
    if (end == begin || !QByteArrayView(answer).sliced(end).startsWith(rest))
        return {};
    QByteArray identity = answer.sliced(begin, end - begin);
    answer.remove(0, end + rest.size());
    return identity;
}

} // namespace korvane::remotecommands
