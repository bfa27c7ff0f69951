#include "remote/SFTPClient.h"

namespace korvane {

SFTPClient::SFTPClient(std::shared_ptr<Client> client) : client_(std::move(client)) {}

SFTPClient::~SFTPClient() = default;

bool SFTPClient::directoryExistsAtPath(const QString&) {
    return false;
}

Result<std::vector<SFTPClient::Entry>> SFTPClient::contentsOfDirectoryAtPath(const QString&) {
    return std::vector<Entry>{};
}

Result<SFTPClient::FileInfo> SFTPClient::infoForFileAtPath(const QString&) {
    return FileInfo{};
}

} // namespace korvane
