#pragma once

#include "app/CommandLine.h"
#include "app/OpenRequest.h"
#include "documents/AppDocumentController.h"
#include "ui/desktop/DesktopNotifications.h"
#include "ui/hosts/RemoteBrowsing.h"
#include "ui/widgets/AlertBoxPresenter.h"
#include "ui/widgets/MainThreadPump.h"
#include "ui/window/WindowManager.h"

#include <QTemporaryDir>

#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class Document;
class PipeCopier;
class RequestServer;
class SingleInstance;

/// Puts the program together: preferences, documents and windows, and what the command line asked for. Main
/// thread; lives inside the toolkit's application object.
class Application {
public:
    /// `request`: what to open. `instance` hands later starts on to this one, and must outlive it; null for
    /// a copy that runs alone.
    Application(const CommandLine& commandLine, OpenRequest request, SingleInstance* instance);
    ~Application();

    /// Opens the files and runs until the last window has closed. Returns the exit status.
    int run();

private:
    /// True to set the damaged file aside, false to quit.
    bool askAboutStore(const Error& fault);
    DesktopNotifications::Handlers notificationHandlers();
    /// Opens the files of the command line, in front of those of the last session.
    void openFirstFiles();
    /// False when there is nothing to show.
    bool open(const OpenRequest::File& request);
    std::shared_ptr<Document> openPipe(const OpenRequest::File& request);
    /// Opens the files of a later start.
    void serve(OpenRequest request);
    /// Runs the event loop, and serves later starts until the program is certain to end.
    int runEventLoop();
    void takeSnapshot();

    const CommandLine commandLine_;
    OpenRequest request_;
    SingleInstance* const instance_;
    std::unique_ptr<RequestServer> requests_;
    /// Requests received while the program was starting.
    std::vector<OpenRequest> waiting_;
    bool isStarted_ = false;
    /// Private settings of a snapshot.
    std::optional<QTemporaryDir> scratch_;
    const MainThreadPump pump_;
    const std::unique_ptr<AlertPresenter> alerts_;
    WindowManager windows_;
    AppDocumentController documents_;
    RemoteBrowsing browsing_;
    DesktopNotifications notifications_;
    /// The pipe opened last: a snapshot waits for its end.
    std::weak_ptr<PipeCopier> copier_;
    /// Alerts that ended a snapshot.
    int exitStatus_ = 0;
};

/// Where settings live.
QString settingsFilePath();

} // namespace korvane
