#include "remote/hosts/RemoteHostsManager.h"

#include "foundation/FilePath.h"
#include "foundation/archive/FileBookmark.h"
#include "foundation/archive/UserDefaults.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteArchive.h"
#include "remote/hosts/RemoteHost.h"

#include <QFile>

#include <algorithm>
#include <map>

namespace korvane {
namespace {

/// Bookmarks by key in the settings.
using KeyBookmarks = std::map<QString, QByteArray>;

/// The key contains two "_" in a row: that is the stored form.
QString settingsKey(const RemoteHost& host, const QString& kind) {
    return host.hostIdentifier() + u'_' + kind;
}

Result<KeyBookmarks> keyBookmarks(const RemoteHost& host) {
    KeyBookmarks bookmarks;
    const auto* type = dynamic_cast<const PublicKeyAuthnType*>(host.authnType().get());
    if (!type)
        return bookmarks;
    for (const auto& [kind, path] : {std::pair(RemoteHostsManager::PUB_KEY, type->publicKeyFilePath),
                                     std::pair(RemoteHostsManager::PVT_KEY, type->privateKeyFilePath)}) {
        if (!path || path->isEmpty())
            continue;
        const Result<QByteArray> bookmark = fileBookmark(fileUrlFromPath(QFile::encodeName(*path)));
        if (!bookmark)
            return bookmark.error();
        bookmarks[settingsKey(host, kind)] = bookmark.value();
    }
    return bookmarks;
}

void store(const KeyBookmarks& bookmarks, UserDefaults& defaults) {
    for (const auto& [key, bookmark] : bookmarks)
        defaults.set(key, bookmark);
}

std::optional<QUrl> keyUrl(const QString& key, const UserDefaults& defaults) {
    const std::optional<QByteArray> bookmark = defaults.dataForKey(key);
    return bookmark ? resolvedFileBookmark(*bookmark) : std::nullopt;
}

} // namespace

Result<std::unique_ptr<RemoteHostsManager>> RemoteHostsManager::load(const QString& directory,
                                                                     UserDefaults& defaults) {
    return loaded(std::unique_ptr<RemoteHostsManager>(new RemoteHostsManager(directory, defaults)));
}

QByteArray RemoteHostsManager::archived() const {
    return archiveHosts(hosts_);
}

Result<int> RemoteHostsManager::restore(const QByteArray& archive) {
    return takeList(unarchiveHosts(archive), hosts_);
}

std::shared_ptr<RemoteHost> RemoteHostsManager::host(qsizetype index) const {
    return isIndex(index) ? hosts_[static_cast<std::size_t>(index)] : nullptr;
}

std::shared_ptr<RemoteHost> RemoteHostsManager::findHost(const QString& hostName, int port,
                                                         const QString& username) const {
    for (const Qt::CaseSensitivity sensitivity : {Qt::CaseSensitive, Qt::CaseInsensitive}) {
        const auto found = std::find_if(hosts_.begin(), hosts_.end(), [&](const auto& candidate) {
            return candidate->port() == port && candidate->username() == username &&
                   candidate->host().compare(hostName, sensitivity) == 0;
        });
        if (found != hosts_.end())
            return *found;
    }
    return nullptr;
}

std::shared_ptr<RemoteHost> RemoteHostsManager::current(const RemoteHost& host) const {
    const auto isHost = [&host](const auto& candidate) {
        return candidate.get() == &host || (host.uuid() && candidate->uuid() == host.uuid());
    };
    const auto found = std::find_if(hosts_.begin(), hosts_.end(), isHost);
    return found == hosts_.end() ? nullptr : *found;
}

Status RemoteHostsManager::add(std::shared_ptr<RemoteHost> host) {
    if (!host->clone()) {
        const Result<KeyBookmarks> bookmarks = keyBookmarks(*host);
        if (!bookmarks)
            return bookmarks.error();
        store(bookmarks.value(), defaults_);
    }
    hosts_.push_back(std::move(host));
    save();
    return success();
}

Status RemoteHostsManager::update(qsizetype index, std::shared_ptr<RemoteHost> host) {
    if (!isIndex(index))
        return success();
    const Result<KeyBookmarks> bookmarks = keyBookmarks(*host);
    if (!bookmarks)
        return bookmarks.error();
    std::shared_ptr<RemoteHost>& place = hosts_[static_cast<std::size_t>(index)];
    removeKeyBookmarks(*place);
    if (place->hostIdentifier() != host->hostIdentifier())
        setUsesSshConfig(*place, false);
    store(bookmarks.value(), defaults_);
    place = std::move(host);
    save();
    return success();
}

void RemoteHostsManager::remove(const std::shared_ptr<RemoteHost>& host) {
    const auto place = std::find(hosts_.begin(), hosts_.end(), host);
    if (place == hosts_.end())
        return;
    removeKeyBookmarks(*host);
    setUsesSshConfig(*host, false);
    hosts_.erase(place);
    save();
}

void RemoteHostsManager::copyKeyBookmarks(const RemoteHost& from, const RemoteHost& to) {
    for (const QString& kind : {PUB_KEY, PVT_KEY}) {
        if (const std::optional<QByteArray> bookmark = defaults_.dataForKey(settingsKey(from, kind)))
            defaults_.set(settingsKey(to, kind), *bookmark);
    }
    setUsesSshConfig(to, usesSshConfig(from));
}

bool RemoteHostsManager::usesSshConfig(const RemoteHost& host) const {
    return defaults_.boolForKey(settingsKey(host, SSH_CONFIG));
}

void RemoteHostsManager::setUsesSshConfig(const RemoteHost& host, bool value) {
    if (value)
        defaults_.set(settingsKey(host, SSH_CONFIG), true);
    else
        defaults_.remove(settingsKey(host, SSH_CONFIG));
}

std::optional<QUrl> RemoteHostsManager::publicKeyUrl(const RemoteHost& host) const {
    return keyUrl(settingsKey(host, PUB_KEY), defaults_);
}

std::optional<QUrl> RemoteHostsManager::privateKeyUrl(const RemoteHost& host) const {
    return keyUrl(settingsKey(host, PVT_KEY), defaults_);
}

void RemoteHostsManager::removeKeyBookmarks(const RemoteHost& host) {
    for (const QString& kind : {PUB_KEY, PVT_KEY})
        defaults_.remove(settingsKey(host, kind));
}

} // namespace korvane
