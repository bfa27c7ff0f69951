#include "remote/Client.h"

namespace korvane {

std::shared_ptr<Client> Client::create(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts) {
    return std::shared_ptr<Client>(new Client(std::move(host), alerts));
}

Client::Client(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts)
    : host_(std::move(host)), alerts_(alerts) {}

Client::~Client() = default;

void Client::setWindow(const void*) {}

Result<Client::Connection> Client::connect() {
    return Connection{};
}

bool Client::isConnected() const {
    return false;
}

QString Client::execute(const QString&, const IsCancelled&) {
    return {};
}

void Client::disconnect() {}

std::shared_ptr<NMSSHSession> Client::session() const {
    return nullptr;
}

void Client::testConnection(std::function<void()> done) {
    static_cast<void>(alerts_);
    done();
}

void Client::cancelConnectionTest() {}

} // namespace korvane
