#pragma once

#include "documents/AppDocumentController.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "foundation/work/MainThread.h"
#include "foundation/work/OperationQueue.h"
#include "support/RecordedAlerts.h"
#include "support/TestStores.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"
#include "ui/widgets/MainThreadPump.h"
#include "ui/window/MainWindow.h"
#include "ui/window/WindowManager.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <chrono>
#include <memory>

namespace korvane::test {

/// The program's windows with one file, with their own settings. For programs that measure and experiment.
struct Session {
    Session() : documents(windows, alerts) {
        makeStores(settings.path());
        windows.setDocumentController(documents);
    }
    explicit Session(const char* path) : Session() { open(path); }

    /// Opens the one file. Without it, `page` stays null.
    void open(const char* path) {
        document = documents.openDocument(fileUrlFromPath(path));
        page = document ? windows.pageOf(*document) : nullptr;
    }

    /// Closes the file and its window. False when background work has not ended in time.
    bool close() {
        page = nullptr;
        document.reset();
        documents.closeAllDocuments();
        windows.closeAll();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const bool hasEnded = OperationQueue::waitForAllWorkers(std::chrono::seconds(60));
        MainThread::shared().runPending();
        return hasEnded;
    }

    LogTableView& table() { return page->logView().tableView(); }

    MainThreadPump pump;
    QTemporaryDir settings;
    RecordedAlerts alerts{std::nullopt};
    WindowManager windows{alerts};
    AppDocumentController documents;
    std::shared_ptr<Document> document;
    MainWindowController* page = nullptr;
};

} // namespace korvane::test
