#include "app/Application.h"

#include "app/EndSignals.h"
#include "app/RequestServer.h"
#include "app/SingleInstance.h"
#include "app/Stores.h"
#include "core/Preferences.h"
#include "documents/Document.h"
#include "documents/PipeCopier.h"
#include "foundation/FilePath.h"
#include "foundation/TimingLog.h"
#include "foundation/archive/StoreDirectory.h"
#include "foundation/work/MainThread.h"
#include "foundation/work/OperationQueue.h"
#include "remote/RemoteDocument.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteUrl.h"
#include "remote/ssh/NMSSHLogger.h"
#include "ui/desktop/UiLog.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"
#include "ui/tabs/DocumentTab.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/MachineFontCatalog.h"
#include "ui/widgets/SizeText.h"
#include "ui/window/MainWindow.h"
#include "ui/window/Snapshot.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace korvane {
namespace {

using namespace std::chrono_literals;

/// Maximum wait for workers at the end; only one that hangs in the file system takes longer.
constexpr auto workersLimit = 2000ms;

/// Alerts for a run without a user.
class ConsoleAlerts : public AlertPresenter {
public:
    explicit ConsoleAlerts(int& exitStatus) : exitStatus_(exitStatus) {}
    /// Refuses every question, by the last button.
    void present(const Alert& alert, WindowId /*window*/, std::function<void(int)> done) override {
        const QByteArray text = QString(alert.message + u' ' + alert.informativeText).toLocal8Bit();
        std::fprintf(stderr, "korvane: %s\n", text.constData());
        exitStatus_ = 1;
        if (done) {
            const auto last = static_cast<int>(std::max<qsizetype>(alert.buttons.size(), 1)) - 1;
            MainThread::shared().post([done = std::move(done), last] { done(last); });
        }
    }

private:
    int& exitStatus_;
};

/// Reports that the program was requested to end, before the event loop handles it.
class EndWatch : public QObject {
public:
    explicit EndWatch(std::function<void()> onEnd) : onEnd_(std::move(onEnd)) {
        qApp->installEventFilter(this);
        connect(qApp, &QGuiApplication::lastWindowClosed, this, [this] { onEnd_(); });
    }

protected:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        if (event->type() == QEvent::Quit)
            onEnd_();
        return false;
    }

private:
    const std::function<void()> onEnd_;
};

/// Sets the activation tokens for the window raised now, not for programs started later.
class DesktopTokens {
public:
    explicit DesktopTokens(const OpenRequest& request) {
        set(activationVariable, request.activationToken);
        set(startupVariable, request.startupId);
    }
    ~DesktopTokens() {
        set(activationVariable, {});
        set(startupVariable, {});
    }
    DesktopTokens(const DesktopTokens&) = delete;
    DesktopTokens& operator=(const DesktopTokens&) = delete;

private:
    static constexpr const char* activationVariable = "XDG_ACTIVATION_TOKEN";
    static constexpr const char* startupVariable = "DESKTOP_STARTUP_ID";

    static void set(const char* variable, const QByteArray& value) {
        if (!value.isEmpty())
            qputenv(variable, value);
        else if (qEnvironmentVariableIsSet(variable))
            qunsetenv(variable);
    }
};

qint64 monotonicMicroseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000 + now.tv_nsec / 1000;
}

QString copyStatus(const PipeCopier& copier) {
    if (copier.state() == PipeCopier::State::Failed)
        return copier.failure();
    const QString size = sizeText(copier.bytesCopied());
    return copier.state() == PipeCopier::State::Copying
               ? QApplication::translate("Application", "Reading: %1 so far").arg(size)
               : QString();
}

/// Logs when the rows of the page are shown.
void logTimes(MainWindowController& page) {
    QObject::connect(&page, &MainWindowController::loadEnded, &page, [] {
        qCDebug(logTiming, "load ended at %lld us", static_cast<long long>(monotonicMicroseconds()));
    });
    QObject::connect(&page.logView(), &LogViewController::firstRowsShown, &page, [] {
        qCDebug(logTiming, "first rows painted at %lld us", static_cast<long long>(monotonicMicroseconds()));
    });
}

/// The address as given, also where QUrl would reject it.
QUrl remoteUrl(const QByteArray& text) {
    const auto address = RemoteUrl::fromText(QString::fromUtf8(text));
    return address ? address->url() : QUrl::fromEncoded(text);
}

} // namespace

QString settingsFilePath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/korvane/korvane.ini");
}

Application::Application(const CommandLine& commandLine, OpenRequest request, SingleInstance* instance)
    : commandLine_(commandLine), request_(std::move(request)), instance_(instance),
      alerts_(commandLine.snapshotPath ? std::unique_ptr<AlertPresenter>(new ConsoleAlerts(exitStatus_))
                                       : std::unique_ptr<AlertPresenter>(new AlertBoxPresenter(
                                             [this] { return windows_.frontWidget(); }))),
      windows_(*alerts_), documents_(windows_, *alerts_), browsing_(documents_, *alerts_),
      notifications_(notificationHandlers()) {
    const QString directory = QFileInfo(settingsFilePath()).path();
    if (!commandLine.snapshotPath && !QFileInfo::exists(directory) && QDir().mkpath(directory))
        QFile::setPermissions(directory,
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QString settings = settingsFilePath();
    if (commandLine.snapshotPath) {
        // A snapshot changes no setting, although its window would store some.
        settings = scratch_.emplace().filePath(QStringLiteral("korvane.ini"));
        QFile::copy(settingsFilePath(), settings);
    }
    auto preferences = std::make_unique<Preferences>(std::make_unique<UserDefaults>(settings));
    preferences->registerDefaults(MachineFontCatalog());
    Preferences::setShared(std::move(preferences));
    documents_.setRemoteDocumentClass([this](const QUrl& url) {
        return RemoteDocument::createForUrl(url, RemoteHostsManager::shared(), *alerts_);
    });
    documents_.setCopyOpener([this](const QUrl& url, std::optional<qint64> line) {
        OpenRequest::File file;
        file.place.path = localPath(url);
        file.place.line = line;
        return openPipe(file);
    });
    NMSSHLogger::sharedLogger().setEnabled(Preferences::shared().nmsshDebug());
    Preferences::shared().setSshLogSwitch([](bool isOn) { NMSSHLogger::sharedLogger().setEnabled(isOn); });
    windows_.setDocumentController(documents_);
    windows_.setRemoteHostsHooks(browsing_.hooks());
    // A snapshot shows no notifications and stores no session.
    if (!commandLine.snapshotPath) {
        UserNotificationCenter::setShared(&notifications_);
        windows_.setKeepsState();
    }
}

DesktopNotifications::Handlers Application::notificationHandlers() {
    return {
        [this](const UserNotification::UserInfo& line) {
            documents_.userNotificationActivated(line.fileUrl, line.lineNum);
        },
        [this](const QString& text) { windows_.showUserUpdate(text); },
        [this](const QString& fileUrl) { windows_.requestAttention(fileUrl); },
    };
}

Application::~Application() {
    UserNotificationCenter::setShared(nullptr);
    browsing_.closeAll();
    documents_.closeAllDocuments();
    windows_.closeAll();
}

bool Application::askAboutStore(const Error& fault) {
    if (commandLine_.snapshotPath) {
        std::fprintf(stderr, "korvane: %s\n", fault.userText.toLocal8Bit().constData());
        return false;
    }
    QMessageBox box(QMessageBox::Critical, QApplication::applicationDisplayName(), fault.userText);
    box.setTextFormat(Qt::PlainText);
    box.setInformativeText(QApplication::translate(
        "Application",
        "The file is left as it is if you quit. Set aside, it keeps its content under another name beside "
        "the old one, and the program starts without it."));
    auto* quit = box.addButton(QApplication::translate("Application", "Quit"), QMessageBox::RejectRole);
    auto* fresh = box.addButton(QApplication::translate("Application", "Set aside and start fresh"),
                                QMessageBox::AcceptRole);
    box.setDefaultButton(quit);
    box.setEscapeButton(quit);
    box.exec();
    return box.clickedButton() == fresh;
}

int Application::run() {
    const EndSignals signals([this] {
        if (commandLine_.snapshotPath)
            QApplication::exit(1);
        else
            windows_.quit();
    });
    if (instance_)
        requests_ = std::make_unique<RequestServer>(
            instance_->listener(), [this](OpenRequest request) { serve(std::move(request)); });
    const auto ask = [this](const Error& fault) { return askAboutStore(fault); };
    if (!commandLine_.snapshotPath && !checkSettings(Preferences::shared(), ask))
        return 1;
    if (!loadStores(storeDirectory(), Preferences::shared().userDefaults(), ask))
        return 1;
    openFirstFiles();
    if (commandLine_.snapshotPath) {
        if (documents_.documents().empty())
            return exitStatus_ == 0 ? CommandLine::usageStatus : exitStatus_;
        takeSnapshot();
    } else {
        // Drawn in four sizes for the task bar, which must not hold up the first rows.
        QTimer::singleShot(0, qApp, [] { QApplication::setWindowIcon(icon(QStringLiteral("korvane"))); });
    }
    // The desktop ends the session, and may kill the program right after this.
    QObject::connect(
        qApp, &QGuiApplication::commitDataRequest, qApp, [this] { windows_.saveSessionNow(); },
        Qt::DirectConnection);
    const int status = runEventLoop();
    documents_.closeAllDocuments();
    // Nothing is saved from here on, so that the next copy need not wait for what still runs in this one.
    if (instance_)
        instance_->release();
    if (!OperationQueue::waitForAllWorkers(workersLimit)) {
        // A worker that hangs in the file system would keep the program from ending; everything to be kept
        // is on the disk.
        qCWarning(logUi, "background work did not end in time");
        std::fflush(nullptr);
        scratch_.reset();
        ::_exit(status);
    }
    return status == 0 ? exitStatus_ : status;
}

void Application::openFirstFiles() {
    if (logTiming().isDebugEnabled())
        windows_.setPageMade([](MainWindowController& page) { logTimes(page); });
    const auto files = std::exchange(request_, {}).files;
    {
        const DocumentBatch batch(documents_, files.size());
        if (!commandLine_.snapshotPath && Preferences::shared().reopenDocuments())
            windows_.restoreSession(files.empty() ? WindowManager::Reading::AtOnce
                                                  : WindowManager::Reading::WhenShown);
        for (const OpenRequest::File& file : files)
            open(file);
        // Before the batch shows its alert, which needs the window.
        if (!commandLine_.snapshotPath)
            windows_.showFirstWindow();
    }
    qCDebug(logTiming, "files opened at %lld us", static_cast<long long>(monotonicMicroseconds()));
}

int Application::runEventLoop() {
    isStarted_ = true;
    for (OpenRequest& request : std::exchange(waiting_, {}))
        serve(std::move(request));
    if (!instance_)
        return QApplication::exec();
    int status = 0;
    {
        const EndWatch watch([this] { requests_->pause(); });
        status = QApplication::exec();
    }
    requests_.reset();
    instance_->stopListening();
    return status;
}

void Application::serve(OpenRequest request) {
    if (!isStarted_) {
        waiting_.push_back(std::move(request));
        return;
    }
    const DesktopTokens tokens(request);
    bool isShown = false;
    {
        const DocumentBatch batch(documents_, request.files.size());
        for (const OpenRequest::File& file : request.files)
            isShown |= open(file);
    }
    if (isShown)
        return;
    // A modal question stays in front of the windows.
    if (QWidget* question = QApplication::activeModalWidget()) {
        question->raise();
        question->activateWindow();
    } else {
        windows_.raiseFrontWindow();
    }
}

bool Application::open(const OpenRequest::File& request) {
    const CommandLine::File& file = request.place;
    if (request.input.isOpen() || file.standardInput || (!file.isUrl && PipeCopier::mustCopy(file.path)))
        return openPipe(request) != nullptr;
    const QUrl url = file.isUrl ? remoteUrl(file.path) : fileUrlFromPath(file.path);
    return documents_.openDocument(url, file.line) != nullptr;
}

std::shared_ptr<Document> Application::openPipe(const OpenRequest::File& request) {
    const CommandLine::File& file = request.place;
    const QByteArray name =
        file.standardInput ? QByteArray("Standard input") : file.path.mid(file.path.lastIndexOf('/') + 1);
    auto started = request.input.isOpen() ? PipeCopier::start(request.input.number())
                   : file.standardInput   ? PipeCopier::takeOver(STDIN_FILENO)
                                          : PipeCopier::start(file.path);
    if (!started) {
        alerts_->present(
            {Alert::Kind::Error,
             QApplication::translate("Application", "“%1” cannot be read").arg(QString::fromUtf8(name)),
             started.error().userText,
             {}},
            {}, {});
        return nullptr;
    }
    const std::shared_ptr<PipeCopier> copier = std::move(started).value();
    auto document = documents_.openDocument(copier->fileUrl(), file.line, QString::fromUtf8(name));
    if (!document)
        return nullptr;
    const QPointer<DocumentTab> tab(windows_.tabOf(*document));
    copier->setOnChange([copier = copier.get(), weak = std::weak_ptr(document), tab] {
        const auto open = weak.lock();
        if (!open || open->isClosed() || !tab)
            return;
        open->loadMore();
        tab->setSourceStatus(copyStatus(*copier));
        tab->setInputPause(copier->pauseReason());
    });
    tab->setSourceStatus(copyStatus(*copier));
    tab->setInputReloadable(copier->canCopyAgain());
    QObject::connect(tab, &DocumentTab::inputReloadRequested, tab, [copier] { copier->copyAgain(); });
    QObject::connect(tab, &DocumentTab::inputGoOnRequested, tab, [copier] { copier->goOn(); });
    QObject::connect(tab, &DocumentTab::inputEndRequested, tab, [copier] { copier->stop(); });
    copier_ = copier;
    // The copy lives as long as the tab that shows it.
    QObject::connect(tab, &QObject::destroyed, tab, [copier] { copier->stop(); });
    return document;
}

void Application::takeSnapshot() {
    MainWindowController* page = windows_.frontPage();
    if (!page)
        page = windows_.pageOf(*documents_.documents().front());
    const auto isComplete = [this] {
        const auto copier = copier_.lock();
        return !copier || copier->state() != PipeCopier::State::Copying;
    };
    new Snapshot(*page, QFile::decodeName(*commandLine_.snapshotPath), isComplete,
                 [this](const QString& fault) {
                     if (!fault.isEmpty()) {
                         std::fprintf(stderr, "korvane: %s\n", fault.toLocal8Bit().constData());
                         exitStatus_ = 1;
                     }
                     QApplication::exit(exitStatus_);
                 });
}

} // namespace korvane
