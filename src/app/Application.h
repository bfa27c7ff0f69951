#pragma once

#include "app/CommandLine.h"
#include "documents/AppDocumentController.h"
#include "ui/AlertBoxPresenter.h"
#include "ui/DesktopNotifications.h"
#include "ui/MainThreadPump.h"
#include "ui/RemoteBrowsing.h"
#include "ui/WindowManager.h"

#include <memory>
#include <vector>

namespace korvane {

class Document;
class PipeCopier;

/// Puts the program together: preferences, documents and windows, and what the command line asked for. Main
/// thread; lives inside the toolkit's application object.
class Application {
public:
    explicit Application(const CommandLine& commandLine);
    ~Application();

    /// Opens the files and runs until the last window has closed. Returns the exit status.
    int run();

private:
    /// True to set the damaged file aside, false to quit.
    bool askAboutStore(const Error& fault);
    DesktopNotifications::Handlers notificationHandlers();
    void open(const CommandLine::File& file);
    void openPipe(const CommandLine::File& file);
    void takeSnapshot();

    const CommandLine commandLine_;
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
