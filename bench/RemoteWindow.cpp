#include "RemoteWindow.h"

#include "Timing.h"

#include "remote/RemoteDocument.h"
#include "remote/hosts/RemoteUrl.h"

#include <QFile>
#include <QProcess>
#include <QTimer>

#include <cstdio>
#include <utility>

namespace korvane::bench {
namespace {

constexpr auto openingLimit = std::chrono::seconds(120);
constexpr auto closingLimit = std::chrono::seconds(30);

/// The line at the zero-based index, read by another program (sed).
QString lineOf(const QString& path, qint64 index) {
    QProcess sed;
    sed.start(QStringLiteral("sed"), {QStringLiteral("-n"), QStringLiteral("%1{p;q}").arg(index + 1), path});
    return sed.waitForFinished(-1) ? QString::fromUtf8(sed.readAllStandardOutput()).chopped(1) : QString();
}

} // namespace

bool until(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    // Sleeps between events, because the server needs the processors.
    QTimer wake;
    wake.start(std::chrono::milliseconds(5));
    while (!condition()) {
        if (Clock::now() > end)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

RemoteWindow::RemoteWindow(const test::SshServer& server, std::shared_ptr<RemoteHost> host)
    // The program writes known_hosts into the home directory.
    : isHome_(qputenv("HOME", home_.path().toLocal8Bit())), server_(server), host_(std::move(host)) {
    session_.documents_.setRemoteDocumentClass([this](const QUrl& url) {
        return RemoteDocument::createForUrl(url, RemoteHostsManager::shared(), alerts_);
    });
    const QString path = server.path(QStringLiteral("small.log"));
    QFile small(path);
    if (!isHome_ || !RemoteHostsManager::shared().add(host_) || !small.open(QIODevice::WriteOnly) ||
        small.write("the host is connected\n") < 0)
        return;
    small.close();
    // Only the file that is measured is followed.
    Preferences::shared().setStartTailingOnFileOpen(false);
    isReady_ = small.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther) && open(path) &&
               until([this] { return isLoaded(); }, openingLimit);
    Preferences::shared().setStartTailingOnFileOpen(true);
}

RemoteWindow::~RemoteWindow() {
    if (!session_.close())
        std::fprintf(stderr, "background work has not ended\n");
}

std::optional<RemoteWindow::Opening> RemoteWindow::open(const QString& path) {
    const QUrl url = RemoteUrl::urlOf(*host_, path, RemoteHostsManager::shared());
    Opening took;
    processesBefore_ = server_.connectionProcesses().size();
    QString shown;
    bool isPainted = false;
    const auto start = Clock::now();
    session_.document = session_.documents_.openDocument(url);
    session_.page = session_.document ? session_.windows_.pageOf(*session_.document) : nullptr;
    if (!session_.page)
        return std::nullopt;
    QObject::connect(&session_.page->logView(), &LogViewController::firstRowsShown, session_.page, [&] {
        took.untilRows = millisecondsSince(start);
        isPainted = true;
        took.firstRow = table().scroller().firstVisibleRow();
        shown = textOnScreen(took.firstRow);
    });
    const bool hasRows = until(
        [&] {
            if (took.untilConnected == 0 &&
                session_.document->connectionState() == ConnectionState::Connected)
                took.untilConnected = millisecondsSince(start);
            return isPainted;
        },
        openingLimit);
    QObject::disconnect(&session_.page->logView(), &LogViewController::firstRowsShown, session_.page,
                        nullptr);
    if (!hasRows || shown.isEmpty() || shown != lineOf(path, took.firstRow)) {
        std::fprintf(stderr, "%s: row %lld is \"%s\"\n", qPrintable(path),
                     static_cast<long long>(took.firstRow), qPrintable(shown.left(200)));
        return std::nullopt;
    }
    return took;
}

QString RemoteWindow::textOnScreen(qint64 row) {
    if (row < table().scroller().firstVisibleRow() || row > table().scroller().lastVisibleRow())
        return {};
    const auto cell = table().delegate().viewForTableColumn(cell::line, row);
    return cell.row ? cell.row->line.string() : QString();
}

bool RemoteWindow::close() {
    session_.page = nullptr;
    session_.documents_.closeDocument(std::exchange(session_.document, nullptr));
    return until([this] { return server_.connectionProcesses().size() <= processesBefore_; }, closingLimit);
}

} // namespace korvane::bench
