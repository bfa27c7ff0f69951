#include "remote/hosts/RemoteUrl.h"

#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

const QString scheme = QStringLiteral("ssh");
const QString start = QStringLiteral("ssh://");
/// Characters that are not encoded in a path, apart from letters and digits.
constexpr char keptInPath[] = "!$&'()*+,-./:=@_~";
/// Start of a fragment that holds a host's identifier.
const QString identifierMark = QStringLiteral("host=");
constexpr int largestPort = 65535;

QByteArray encodedPath(const QString& path) {
    return path.toUtf8().toPercentEncoding(keptInPath);
}

QString decoded(QStringView text) {
    return QString::fromUtf8(QByteArray::fromPercentEncoding(text.toUtf8()));
}

/// A numeric address with colons may be in brackets.
QStringView withoutBrackets(QStringView host) {
    return host.startsWith(u'[') && host.endsWith(u']') ? host.sliced(1, host.size() - 2) : host;
}

void setSimilarHost(QUrl& url, QString name) {
    const auto isTaken = [](QChar letter) {
        return letter.unicode() < 0x80 && (letter.isLetterOrNumber() || letter == u'-' || letter == u'.');
    };
    for (QChar& letter : name) {
        if (!isTaken(letter))
            letter = u'_';
    }
    url.setHost(name, QUrl::DecodedMode);
    if (url.host().isEmpty())
        url.setHost(name.replace(u'.', u'_'), QUrl::DecodedMode);
}

} // namespace

RemoteUrl::RemoteUrl(QString host, int port, QString user, QString path)
    : host_(std::move(host)), port_(port), user_(std::move(user)), path_(std::move(path)) {}

RemoteUrl::RemoteUrl(const RemoteHost& host, const QString& path)
    : RemoteUrl(host.host(), host.port(), host.username(), path) {}

QUrl RemoteUrl::urlOf(const RemoteHost& host, const QString& path, const RemoteHostsManager& hosts) {
    RemoteUrl address(host, path);
    const auto readAgain = fromUrl(address.url());
    if (!readAgain || readAgain->hostIn(hosts).get() != &host)
        address.hostIdentifier_ = host.hostIdentifier();
    return address.url();
}

std::optional<RemoteUrl> RemoteUrl::fromText(const QString& text) {
    if (!text.startsWith(start, Qt::CaseInsensitive))
        return std::nullopt;
    const QStringView rest = QStringView(text).sliced(start.size());
    const qsizetype slash = rest.indexOf(u'/');
    if (slash < 0 || slash + 1 == rest.size())
        return std::nullopt;
    // A user name may contain "@", a numeric address colons.
    const QStringView authority = rest.first(slash);
    const qsizetype at = authority.lastIndexOf(u'@');
    const qsizetype colon = authority.lastIndexOf(u':');
    if (at < 0 || colon <= at + 1)
        return std::nullopt;
    bool isNumber = false;
    const int port = authority.sliced(colon + 1).toInt(&isNumber);
    if (!isNumber || port < 1 || port > largestPort)
        return std::nullopt;
    const QStringView host = withoutBrackets(authority.sliced(at + 1, colon - at - 1));
    if (host.isEmpty())
        return std::nullopt;
    return RemoteUrl(host.toString(), port, decoded(authority.first(at)), decoded(rest.sliced(slash + 1)));
}

std::optional<RemoteUrl> RemoteUrl::fromUrl(const QUrl& url) {
    const QString path = decoded(url.path(QUrl::FullyEncoded));
    const int port = url.port();
    const QString user = url.userName(QUrl::FullyDecoded);
    const QString host = url.host(QUrl::FullyDecoded);
    const bool hasUser = !user.isEmpty() || url.authority(QUrl::FullyEncoded).startsWith(u'@');
    if (url.scheme() != scheme || port < 1 || !hasUser || host.isEmpty() || path.size() < 2)
        return std::nullopt;
    RemoteUrl address(host, port, user, path.sliced(1));
    if (const QString fragment = url.fragment(QUrl::FullyDecoded); fragment.startsWith(identifierMark))
        address.hostIdentifier_ = fragment.sliced(identifierMark.size());
    return address;
}

QString RemoteUrl::text() const {
    return start + user_ + u'@' + host_ + u':' + QString::number(port_) + u'/' +
           QString::fromLatin1(encodedPath(path_));
}

QUrl RemoteUrl::url() const {
    QUrl url;
    url.setScheme(scheme);
    // QUrl writes the "@" of an empty user name only if the name is not null.
    url.setUserName(user_.isNull() ? QStringLiteral("") : user_, QUrl::DecodedMode);
    url.setHost(host_, QUrl::DecodedMode);
    if (!hostIdentifier_.isEmpty()) {
        if (url.host().isEmpty())
            setSimilarHost(url, host_);
        url.setFragment(identifierMark + hostIdentifier_, QUrl::DecodedMode);
    }
    url.setPort(port_);
    url.setPath(QString::fromLatin1('/' + encodedPath(path_)), QUrl::StrictMode);
    return url;
}

std::shared_ptr<RemoteHost> RemoteUrl::hostIn(const RemoteHostsManager& hosts) const {
    if (!hostIdentifier_.isEmpty()) {
        const auto found = std::ranges::find(hosts.hosts(), hostIdentifier_, &RemoteHost::hostIdentifier);
        return found == hosts.hosts().end() ? nullptr : *found;
    }
    if (auto found = hosts.findHost(host_, port_, user_))
        return found;
    // QUrl may have changed the spelling of the host's name.
    const QString form = url().host(QUrl::FullyEncoded);
    const auto found = std::find_if(hosts.hosts().begin(), hosts.hosts().end(), [&](const auto& candidate) {
        return candidate->port() == port_ && candidate->username() == user_ &&
               RemoteUrl(*candidate, {}).url().host(QUrl::FullyEncoded) == form;
    });
    return found == hosts.hosts().end() || form.isEmpty() ? nullptr : *found;
}

} // namespace korvane
