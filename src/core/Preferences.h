#pragma once

#include "core/FontCatalog.h"
#include "foundation/archive/UserDefaults.h"

#include <QColor>
#include <QFont>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace korvane {

/// What becomes of the key that a server shows.
enum class HostKeyChoice {
    AcceptAll,
    /// A new one is stored, and the user is asked about one that has changed.
    AcceptNew,
    /// The user is asked about both.
    AskForNew,
};

/// The typed front of the user's settings. One shared instance; every getter from any thread, returning
/// copies. Colours and font are cached and follow the stored values at once.
class Preferences {
public:
    // The storage keys.
    const QString keyPollingInterval = QStringLiteral("pollingInterval");
    const QString keyShowLineNumbers = QStringLiteral("showLineNumbers");
    const QString keyStartTailingOnFileOpen = QStringLiteral("startTailingOnFileOpen");
    const QString keyAutoTailOnScroll = QStringLiteral("autoTailOnScroll");
    const QString keyShowSidebarOnFileOpen = QStringLiteral("showSidebarOnFileOpen");
    const QString keyConfirmDeleteBookmark = QStringLiteral("confirmDeleteBookmark");
    const QString keyConfirmDeleteFilterHighlightRule = QStringLiteral("confirmDeleteFilterHighlightRule");
    const QString keyConfirmDeleteRemoteHost = QStringLiteral("confirmDeleteRemoteHost");
    const QString keyLazyLoadFile = QStringLiteral("lazyLoadFile");
    const QString keyShowWelcomeWinOnStart = QStringLiteral("showWelcomeWinOnStart");
    const QString keyNMSSHDebug = QStringLiteral("nmssh.debug");
    const QString keyLogViewBGColor = QStringLiteral("keyLogViewBGColor");
    const QString keyLogViewFGColor = QStringLiteral("keyLogViewFGColor");
    const QString keyLogViewLineNumberFGColor = QStringLiteral("keyLogViewLineNumberFGColor");
    const QString keyLogViewFont = QStringLiteral("keyLogViewFont");
    const QString keyQuickHighlightSelection = QStringLiteral("keyQuickHighlightSelection");
    const QString keyWrapLines = QStringLiteral("keyWrapLines");
    const QString keyUseTabs = QStringLiteral("useTabs");
    const QString keyReopenDocuments = QStringLiteral("reopenDocuments");
    const QString keyRowMemory = QStringLiteral("rowMemory");
    const QString keyPipeReserve = QStringLiteral("pipeReserve");
    const QString keyOpenAtEnd = QStringLiteral("openFollowedFilesAtEnd");
    const QString keyHostKeys = QStringLiteral("hostKeys");
    /// Where there is no `keyHostKeys`: whether all are accepted or asked for.
    const QString keyChecksHostKeys = QStringLiteral("checksHostKeys");
    const QString keyShowsHiddenRemoteFiles = QStringLiteral("showsHiddenRemoteFiles");
    const QString keyRemoteFileSorting = QStringLiteral("remoteFileSorting");

    /// The instance of the program. `setShared` is called once, before any other use.
    static Preferences& shared();
    /// Whether one has been set.
    static bool hasShared();
    static void setShared(std::unique_ptr<Preferences> preferences);

    explicit Preferences(std::unique_ptr<UserDefaults> userDefaults);

    /// The polling intervals that can be chosen, in seconds.
    static constexpr double shortestPollingInterval = 0.1;
    static constexpr double longestPollingInterval = 3600;

    /// The bounds of the memory for rows that can be chosen, in MiB.
    static constexpr int leastRowMemory = 16;
    static constexpr int mostRowMemory = 65536;
    static constexpr int mostPipeReserve = 1 << 20;

    static constexpr Qt::GlobalColor defaultLineNumberColor = Qt::gray;

    /// Registers the default of every setting, and brings a stored polling interval back into its limits.
    /// Called once at launch, on the main thread, before any window opens.
    void registerDefaults(const FontCatalog& fonts);

    /// Seconds between two polls of a followed file.
    double pollingInterval() const;
    void setPollingInterval(double seconds);
    /// MiB that the rows of all open files may take together, apart from those on the screen.
    int rowMemory() const;
    void setRowMemory(int mebibytes);
    /// MiB that copies of pipes leave free where they lie, and a twentieth of the disk at least; 0 = they
    /// fill it.
    int pipeReserve() const;
    void setPipeReserve(int mebibytes);
    /// Whether a file that is followed as soon as it is opened shows its last lines first.
    bool openAtEnd() const;
    void setOpenAtEnd(bool value);
    bool showLineNumbers() const;
    void setShowLineNumbers(bool value);
    bool quickHighlightSelection() const;
    void setQuickHighlightSelection(bool value);
    bool startTailingOnFileOpen() const;
    void setStartTailingOnFileOpen(bool value);
    bool autoTailOnScroll() const;
    void setAutoTailOnScroll(bool value);
    bool showSidebarOnFileOpen() const;
    void setShowSidebarOnFileOpen(bool value);
    bool confirmDeleteBookmark() const;
    void setConfirmDeleteBookmark(bool value);
    bool confirmDeleteFilterHighlightRule() const;
    void setConfirmDeleteFilterHighlightRule(bool value);
    bool confirmDeleteRemoteHost() const;
    void setConfirmDeleteRemoteHost(bool value);
    bool showRemoteTerminalAlert() const;
    void setShowRemoteTerminalAlert(bool value);
    bool openLocalTerminalAlert() const;
    void setOpenLocalTerminalAlert(bool value);
    bool wrapLines() const;
    void setWrapLines(bool value);
    bool lazyLoadFile() const;
    void setLazyLoadFile(bool value);
    bool showWelcomeWinOnStart() const;
    void setShowWelcomeWinOnStart(bool value);
    bool useTabs() const;
    void setUseTabs(bool value);
    /// Whether a start without files opens those of the last time again.
    bool reopenDocuments() const;
    void setReopenDocuments(bool value);

    HostKeyChoice hostKeyChoice() const;
    void setHostKeyChoice(HostKeyChoice choice);

    /// Whether the browser of a server shows files whose names begin with a dot.
    bool showsHiddenRemoteFiles() const;
    void setShowsHiddenRemoteFiles(bool value);
    /// The order of the files there, see RemoteFileOrder::Sorting; 0 is by name.
    int remoteFileSorting() const;
    void setRemoteFileSorting(int value);

    bool nmsshDebug() const;
    /// Also switches the SSH library's own log, through the hook, in the same call.
    void setNmsshDebug(bool value);
    void setSshLogSwitch(std::function<void(bool)> hook);

    /// The system's font when the stored one is none.
    QFont logViewFont() const;
    void setLogViewFont(const QFont& font);
    /// Whether the stored font of the log view, or the default, is one.
    bool hasLogViewFont() const;
    /// Back to the default.
    void forgetLogViewFont();
    /// The font of the system's own texts, at 12 points.
    QFont systemFont() const;
    QColor logViewBackground() const;
    QColor logViewForeground() const;
    QColor logViewLineNumViewForeground() const;
    void setLogViewBackground(const QColor& color);
    void setLogViewForeground(const QColor& color);
    void setLogViewLineNumViewForeground(const QColor& color);
    /// Font and colours of the log view as a new user has them.
    void restoreLogViewLooks();

    /// Whether the file's lines are wrapped, as stored for this file; false for an unknown one.
    bool isWrapLines(const QString& fileId) const;
    void setWrapLines(bool value, const QString& fileId);
    /// Whether something is stored for this file.
    bool hasWrapLines(const QString& fileId) const;

    /// The forms in which fonts and colours are stored.
    static QByteArray archivedFont(const QFont& font);
    static QByteArray archivedColor(const QColor& color);

    /// Notices of every change, with the storage key.
    UserDefaults::Token observe(UserDefaults::Handler handler);
    UserDefaults& userDefaults() { return *userDefaults_; }

private:
    void refreshCachedColor(const QString& key);
    QString wrapKey(const QString& fileId) const;

    const std::unique_ptr<UserDefaults> userDefaults_;
    UserDefaults::Token colorsToken_;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    QColor logViewBackground_;
    QColor logViewForeground_;
    QColor logViewLineNumViewForeground_;
    mutable std::optional<QFont> logViewFontCached_;
    QFont systemFont_;
    std::function<void(bool)> sshLogSwitch_;
};

/// Terminal notices, switched off by the alert's own check box.
inline const QString sshShowRemoteTerminalAlertKey = QStringLiteral("SSHShowRemoteTerminalAlertKey");
inline const QString openLocalTerminalAlertKey = QStringLiteral("OpenLocalTerminalAlertKey");

} // namespace korvane
