#pragma once

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/Preferences.h"
#include "documents/AppDocumentController.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "foundation/work/MainThread.h"
#include "foundation/work/OperationQueue.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "support/RecordedAlerts.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"
#include "ui/widgets/MachineFontCatalog.h"
#include "ui/widgets/MainThreadPump.h"
#include "ui/window/MainWindow.h"
#include "ui/window/WindowManager.h"

#include <QCoreApplication>
#include <QTemporaryDir>

namespace korvane::test {

/// Creates settings and stores as the program does, in the directory.
inline void makeStores(const QString& directory) {
    auto preferences = std::make_unique<Preferences>(
        std::make_unique<UserDefaults>(directory + QStringLiteral("/korvane.ini")));
    preferences->registerDefaults(MachineFontCatalog());
    Preferences::setShared(std::move(preferences));
    UserDefaults& defaults = Preferences::shared().userDefaults();
    FiltersManager::setShared(std::move(FiltersManager::load(directory)).value());
    FilterRulesMemento::setShared(std::move(FilterRulesMemento::load(directory)).value());
    ServerGroupsManager::setShared(std::move(ServerGroupsManager::load(directory)).value());
    RemoteHostsManager::setShared(std::move(RemoteHostsManager::load(directory, defaults)).value());
    RemoteRecentFilesManager::setShared(std::make_unique<RemoteRecentFilesManager>(defaults));
    FileBasedBookmarksManager::setShared(
        std::move(FileBasedBookmarksManager::load(directory, defaults)).value());
}

/// The program without its command line: real documents in real windows, with the settings in that directory.
struct ProgramInDirectory {
    explicit ProgramInDirectory(const QString& settings) {
        makeStores(settings);
        windows_.setDocumentController(documents_);
    }

    /// Closes all files and windows. False when background work has not ended in time.
    bool close() {
        documents_.closeAllDocuments();
        windows_.closeAll();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const bool hasEnded = OperationQueue::waitForAllWorkers(std::chrono::seconds(60));
        MainThread::shared().runPending();
        return hasEnded;
    }

    RecordedAlerts alerts_;
    WindowManager windows_{alerts_};
    AppDocumentController documents_{windows_, alerts_};
};

/// A directory for settings.
struct OwnSettings {
    MainThreadPump pump_;
    QTemporaryDir settings_;
};

/// The program with one file and its own settings. For programs that measure and experiment.
struct Session : OwnSettings, ProgramInDirectory {
    Session() : ProgramInDirectory(settings_.path()) { alerts_.nextAnswer.reset(); }
    explicit Session(const char* path) : Session() { open(path); }

    /// Opens the one file. Without it, `page` stays null.
    void open(const char* path) {
        document = documents_.openDocument(fileUrlFromPath(path));
        page = document ? windows_.pageOf(*document) : nullptr;
    }
    bool close() {
        page = nullptr;
        document.reset();
        return ProgramInDirectory::close();
    }

    LogTableView& table() { return page->logView().tableView(); }

    std::shared_ptr<Document> document;
    MainWindowController* page = nullptr;
};

} // namespace korvane::test
