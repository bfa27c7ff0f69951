#include "ui/hosts/RemoteBrowsing.h"

#include "documents/AppDocumentController.h"
#include "documents/Document.h"
#include "remote/Client.h"
#include "remote/SFTPClient.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteUrl.h"

#include <algorithm>
#include <utility>

namespace korvane {

RemoteHostsHooks RemoteBrowsing::hooks() {
    return {[this](const std::shared_ptr<RemoteHost>& host) { browse(host); },
            [this](const RemoteHost& host) { return isConnected(host); }};
}

void RemoteBrowsing::browse(const std::shared_ptr<RemoteHost>& host) {
    QPointer<ServerBrowserViewController>& browser = browsers_[host];
    if (!browser) {
        const auto client = Client::create(host, alerts_);
        browser =
            new ServerBrowserViewController(client, std::make_shared<SFTPClient>(client), *this, alerts_);
    }
    browser->comeBack();
}

bool RemoteBrowsing::isConnected(const RemoteHost& host) const {
    return std::ranges::any_of(documents_.documents(), [&host](const std::shared_ptr<Document>& document) {
        if (document->connectionState() != ConnectionState::Connected)
            return false;
        const auto url = RemoteUrl::fromUrl(document->fileUrl());
        return url && url->hostIn(RemoteHostsManager::shared()).get() == &host;
    });
}

void RemoteBrowsing::closeAll() {
    for (auto& [host, browser] : std::exchange(browsers_, {}))
        delete browser;
}

void RemoteBrowsing::remoteFileChosen(const std::shared_ptr<RemoteHost>& host, const QString& path) {
    const RemoteHostsManager& hosts = RemoteHostsManager::shared();
    // The host may have been edited since its browser was opened.
    const auto current = hosts.current(*host);
    documents_.openDocument(RemoteUrl::urlOf(current ? *current : *host, path, hosts));
}

} // namespace korvane
