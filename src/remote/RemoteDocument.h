#pragma once

#include "documents/Document.h"
#include "foundation/notices/WindowId.h"
#include "foundation/work/OperationQueue.h"
#include "remote/LoginAsked.h"
#include "remote/RemoteState.h"
#include "remote/hosts/RemoteUrl.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace korvane {

class AlertPresenter;
class Client;
class RemoteFile;
class RemoteHost;
class RemoteHostsManager;
class RemoteLogDataSource;
class RemoteLogFileObserver;
class SFTPClient;

/// One open log file on a server. Owns its login, the data source of its rows and, once the file has been
/// followed, the observer.
class RemoteDocument final : public Document {
public:
    /// Creates a login for a host that is not yet connected.
    using MakeClient = std::function<std::shared_ptr<Client>(std::shared_ptr<RemoteHost>)>;

    /// Creates a document on the host that the URL names; fails if no such host is configured. `alerts` must
    /// outlive the document.
    static Result<std::shared_ptr<Document>> createForUrl(const QUrl& url, const RemoteHostsManager& hosts,
                                                          AlertPresenter& alerts);
    static std::shared_ptr<RemoteDocument> create(std::shared_ptr<RemoteHost> host,
                                                  const MakeClient& makeClient);
    ~RemoteDocument() override;

    /// Contacts no server.
    Status readFromUrl(const QUrl& url) override;

    /// Connects and counts the lines. Once connected, follows the file if the settings say so, adds it to the
    /// recent files, and announces the document. A failure is reported in an alert and has no other effect.
    void startLoading() override;
    void windowMade() override {}
    void cancelLoading() override;
    /// Creates the observer if there is none.
    void startTailingWhenLoaded() override;
    void stopTailing() override;
    void reload() override;

    void close() override;
    bool isClosed() const override { return state_.state() == RemoteState::Closed; }

    QUrl fileUrl() const override { return fileUrl_; }
    /// Null: a remote file is read by commands.
    std::shared_ptr<LogFileReaderProtocol> logReader() const override { return nullptr; }
    std::shared_ptr<TailDataSourceProtocol> dataSource() const override;
    /// Null until the file is first followed.
    std::shared_ptr<FileObserverProtocol> logFileObserver() const override;

    /// Remote lines are UTF-8; invalid bytes are replaced.
    bool hasEncodingChoice() const override { return false; }
    EncodingChoice encodingChoice() const override;
    void setEncodingChoice(EncodingChoice /*choice*/) override {}
    StringEncoding fileEncoding() const override { return encoding::utf8; }

    QString openFault() const override;
    /// Detects a lost connection, and counts a file that has not been counted or was empty.
    void checkFile(std::function<void(FileFault)> report) override;
    void stayConnected() override;
    bool triesToConnect() const override;
    std::optional<quint64> knownFileSize() const override;
    void askFileInformation(FileInformationReport report) override;
    std::shared_ptr<const LoadProgressController> loadProgress() const override;

    ConnectionState connectionState() const override { return connectionStateOf(state_.state()); }
    void reconnect() override;
    void setWindow(WindowId window) override;
    void setLineMarkLookup(std::shared_ptr<const LineMarkLookup> lookup) override;

    const std::shared_ptr<RemoteHost>& host() const { return host_; }
    const std::shared_ptr<Client>& client() const { return client_; }

private:
    class Listener;
    class LoadOperation;

    RemoteDocument(std::shared_ptr<RemoteHost> host, std::shared_ptr<Client> client);
    std::shared_ptr<RemoteDocument> self();
    void connectInBackground(LoginAsked asked);
    /// Posts a notice of every change.
    void setState(RemoteState state);
    bool isConnecting() const { return connectionState() == ConnectionState::Connecting; }
    void announceState();
    void connected();
    void connectionFailed();
    /// The attempt under way has ended without a connection.
    void attemptEnded(RemoteState end);
    void loadEnded();
    /// The connection has been established or lost, by any of its users.
    void connectionChanged();
    void connectionGone();
    /// Loads again everything that could not be loaded.
    void comeBack(LoginAsked asked);
    void connectionLost();
    void present(const Error& error);
    void tellUser(const QString& text);
    void setFileFault(const QString& text);
    void follow();

    const std::shared_ptr<RemoteHost> host_;
    const std::shared_ptr<Client> client_;
    QUrl fileUrl_;
    StateMachine<RemoteState> state_{RemoteState::Unopened, remoteTransitions};
    bool isAnnounced_ = false;
    /// The file is to be followed once there is a connection.
    bool follows_ = false;
    /// Why the file has no lines; empty without a fault.
    QString fileFault_;
    /// The rows that could not be loaded are to be requested once there is a connection.
    bool asksAgain_ = false;
    /// Null while nothing is being loaded.
    std::shared_ptr<LoadOperation> load_;
    /// Distinguishes the reports of an earlier load.
    std::uint64_t loadNumber_ = 0;
    std::shared_ptr<Listener> listener_;
    std::shared_ptr<RemoteFile> file_;
    std::shared_ptr<RemoteLogDataSource> dataSource_;
    std::shared_ptr<RemoteLogFileObserver> logFileObserver_;
    std::shared_ptr<LoadProgressController> loadProgress_;
    std::unique_ptr<OperationQueue> loadQueue_;
    std::unique_ptr<OperationQueue> informationQueue_;
};

} // namespace korvane
