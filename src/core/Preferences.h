#pragma once

#include "core/FontCatalog.h"
#include "core/HiddenLines.h"
#include "core/Setting.h"
#include "core/search/SearchSwitches.h"
#include "foundation/Mutex.h"
#include "foundation/Shared.h"
#include "foundation/archive/UserDefaults.h"

#include <QColor>
#include <QFont>

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <tuple>

namespace korvane {

/// What to do with the host key that a server presents.
enum class HostKeyChoice {
    AcceptAll,
    /// Store a new one, ask the user about a changed one.
    AcceptNew,
    /// Ask the user about both.
    AskForNew,
};

/// The typed front of the user's settings. Every getter from any thread, returning copies. Every setter
/// writes the settings file. Colours and font are cached and follow the stored values.
class Preferences : public Shared<Preferences> {
public:
    /// Limits of the polling interval, in seconds.
    static constexpr double shortestPollingInterval = 0.1;
    static constexpr double longestPollingInterval = 3600;
    /// Limits of the memory for rows, and of the disk space that pipes leave free, in MiB.
    static constexpr int leastRowMemory = 16;
    static constexpr int mostRowMemory = 65536;
    static constexpr int mostPipeReserve = 1 << 20;
    static constexpr Qt::GlobalColor defaultLineNumberColor = Qt::gray;

    // The settings, each named after its key.
    inline static const Setting<double> keyPollingInterval{
        QStringLiteral("pollingInterval"), 0.5, {{shortestPollingInterval, longestPollingInterval}}};
    inline static const Setting<bool> keyShowLineNumbers{QStringLiteral("showLineNumbers"), true};
    inline static const Setting<bool> keyQuickHighlightSelection{QStringLiteral("keyQuickHighlightSelection"),
                                                                 true};
    inline static const Setting<bool> keyStartTailingOnFileOpen{QStringLiteral("startTailingOnFileOpen"),
                                                                true};
    inline static const Setting<bool> keyAutoTailOnScroll{QStringLiteral("autoTailOnScroll"), true};
    inline static const Setting<bool> keyShowSidebarOnFileOpen{QStringLiteral("showSidebarOnFileOpen"), true};
    inline static const Setting<bool> keyConfirmDeleteBookmark{QStringLiteral("confirmDeleteBookmark"), true};
    inline static const Setting<bool> keyConfirmDeleteFilterHighlightRule{
        QStringLiteral("confirmDeleteFilterHighlightRule"), true};
    inline static const Setting<bool> keyConfirmDeleteRemoteHost{QStringLiteral("confirmDeleteRemoteHost"),
                                                                 true};
    inline static const Setting<bool> keyShowRemoteTerminalAlert{
        QStringLiteral("SSHShowRemoteTerminalAlertKey"), true};
    inline static const Setting<bool> keyOpenLocalTerminalAlert{QStringLiteral("OpenLocalTerminalAlertKey"),
                                                                true};
    inline static const Setting<QColor> keyLogViewBGColor{QStringLiteral("keyLogViewBGColor"), Qt::white};
    /// Deliberately not pure black.
    inline static const Setting<QColor> keyLogViewFGColor{QStringLiteral("keyLogViewFGColor"),
                                                          QColor(1, 1, 1)};
    inline static const Setting<QColor> keyLogViewLineNumberFGColor{
        QStringLiteral("keyLogViewLineNumberFGColor"), defaultLineNumberColor};
    inline static const Setting<bool> keyWrapLines{QStringLiteral("keyWrapLines"), false};
    inline static const Setting<bool> keyLazyLoadFile{QStringLiteral("lazyLoadFile"), true};
    inline static const Setting<bool> keyShowWelcomeWinOnStart{QStringLiteral("showWelcomeWinOnStart"), true};
    inline static const Setting<bool> keyNMSSHDebug{QStringLiteral("nmssh.debug"), false};
    inline static const Setting<bool> keyUseTabs{QStringLiteral("useTabs"), true};
    inline static const Setting<bool> keyReopenDocuments{QStringLiteral("reopenDocuments"), true};
    inline static const Setting<int> keyRowMemory{
        QStringLiteral("rowMemory"), 256, {{leastRowMemory, mostRowMemory}}};
    inline static const Setting<int> keyPipeReserve{
        QStringLiteral("pipeReserve"), 1024, {{0, mostPipeReserve}}};
    inline static const Setting<bool> keyOpenAtEnd{QStringLiteral("openFollowedFilesAtEnd"), false};
    inline static const Setting<bool> keyShowsHiddenRemoteFiles{QStringLiteral("showsHiddenRemoteFiles"),
                                                                false};
    inline static const Setting<int> keyRemoteFileSorting{QStringLiteral("remoteFileSorting"), 0};
    /// The strip that offers to leave hidden lines out has not been answered yet.
    inline static const Setting<bool> keyOffersToLeaveOut{QStringLiteral("offersToLeaveHiddenLinesOut"),
                                                          true};
    inline static const Setting<bool> keyShowsOverview{QStringLiteral("showsOverview"), true};
    inline static const Setting<int> keyHiddenLines{
        QStringLiteral("hiddenLines"), 0, {{0, static_cast<int>(allHiddenLines.size()) - 1}}};

    /// As `SearchSwitches::toNumber`.
    inline static const Setting<int> keySearchSwitches{QStringLiteral("searchSwitches"), 0, {{0, 7}}};

    /// All of the above.
    static auto settings() {
        return std::tie(
            keyPollingInterval, keyShowLineNumbers, keyQuickHighlightSelection, keyStartTailingOnFileOpen,
            keyAutoTailOnScroll, keyShowSidebarOnFileOpen, keyConfirmDeleteBookmark,
            keyConfirmDeleteFilterHighlightRule, keyConfirmDeleteRemoteHost, keyShowRemoteTerminalAlert,
            keyOpenLocalTerminalAlert, keyLogViewBGColor, keyLogViewFGColor, keyLogViewLineNumberFGColor,
            keyWrapLines, keyLazyLoadFile, keyShowWelcomeWinOnStart, keyNMSSHDebug, keyUseTabs,
            keyReopenDocuments, keyRowMemory, keyPipeReserve, keyOpenAtEnd, keyShowsHiddenRemoteFiles,
            keyRemoteFileSorting, keyOffersToLeaveOut, keyHiddenLines, keySearchSwitches, keyShowsOverview);
    }

    // Keys whose default depends on the machine or on other keys.
    inline static const QString keyLogViewFont = QStringLiteral("keyLogViewFont");
    inline static const QString keyHostKeys = QStringLiteral("hostKeys");
    /// Earlier form of `keyHostKeys`, a boolean: ask for new ones, or accept all.
    inline static const QString keyChecksHostKeys = QStringLiteral("checksHostKeys");

    explicit Preferences(std::unique_ptr<UserDefaults> userDefaults);

    /// Registers the default of every setting, and brings a stored polling interval back into its limits.
    /// Called once at launch, on the main thread, before any window opens.
    void registerDefaults(const FontCatalog& fonts);

    /// Seconds between two polls of a followed file.
    double pollingInterval() const { return userDefaults_->doubleForKey(keyPollingInterval); }
    void setPollingInterval(double seconds) { set(keyPollingInterval, seconds); }
    /// MiB that the rows of all open files may take together, apart from those on the screen.
    int rowMemory() const { return value(keyRowMemory); }
    void setRowMemory(int mebibytes) { set(keyRowMemory, mebibytes); }
    /// MiB of disk space that copies of pipes leave free, at least a twentieth of the disk; 0 = they may fill
    /// the disk.
    int pipeReserve() const { return value(keyPipeReserve); }
    void setPipeReserve(int mebibytes) { set(keyPipeReserve, mebibytes); }
    /// Whether a file that is followed as soon as it is opened shows its last lines first.
    bool openAtEnd() const { return value(keyOpenAtEnd); }
    void setOpenAtEnd(bool value) { set(keyOpenAtEnd, value); }
    bool showLineNumbers() const { return value(keyShowLineNumbers); }
    void setShowLineNumbers(bool value) { set(keyShowLineNumbers, value); }
    bool quickHighlightSelection() const { return value(keyQuickHighlightSelection); }
    void setQuickHighlightSelection(bool value) { set(keyQuickHighlightSelection, value); }
    bool startTailingOnFileOpen() const { return value(keyStartTailingOnFileOpen); }
    void setStartTailingOnFileOpen(bool value) { set(keyStartTailingOnFileOpen, value); }
    bool autoTailOnScroll() const { return value(keyAutoTailOnScroll); }
    void setAutoTailOnScroll(bool value) { set(keyAutoTailOnScroll, value); }
    bool showSidebarOnFileOpen() const { return value(keyShowSidebarOnFileOpen); }
    void setShowSidebarOnFileOpen(bool value) { set(keyShowSidebarOnFileOpen, value); }
    bool confirmDeleteBookmark() const { return value(keyConfirmDeleteBookmark); }
    void setConfirmDeleteBookmark(bool value) { set(keyConfirmDeleteBookmark, value); }
    bool confirmDeleteFilterHighlightRule() const { return value(keyConfirmDeleteFilterHighlightRule); }
    void setConfirmDeleteFilterHighlightRule(bool value) { set(keyConfirmDeleteFilterHighlightRule, value); }
    bool confirmDeleteRemoteHost() const { return value(keyConfirmDeleteRemoteHost); }
    void setConfirmDeleteRemoteHost(bool value) { set(keyConfirmDeleteRemoteHost, value); }
    bool showRemoteTerminalAlert() const { return value(keyShowRemoteTerminalAlert); }
    void setShowRemoteTerminalAlert(bool value) { set(keyShowRemoteTerminalAlert, value); }
    bool openLocalTerminalAlert() const { return value(keyOpenLocalTerminalAlert); }
    void setOpenLocalTerminalAlert(bool value) { set(keyOpenLocalTerminalAlert, value); }
    bool wrapLines() const { return value(keyWrapLines); }
    void setWrapLines(bool value) { set(keyWrapLines, value); }
    bool lazyLoadFile() const { return value(keyLazyLoadFile); }
    void setLazyLoadFile(bool value) { set(keyLazyLoadFile, value); }
    bool showWelcomeWinOnStart() const { return value(keyShowWelcomeWinOnStart); }
    void setShowWelcomeWinOnStart(bool value) { set(keyShowWelcomeWinOnStart, value); }
    bool useTabs() const { return value(keyUseTabs); }
    void setUseTabs(bool value) { set(keyUseTabs, value); }
    /// Whether a start without files reopens those of the last session.
    bool reopenDocuments() const { return value(keyReopenDocuments); }
    void setReopenDocuments(bool value) { set(keyReopenDocuments, value); }
    /// Whether the browser of a server shows files whose names begin with a dot.
    bool showsHiddenRemoteFiles() const { return value(keyShowsHiddenRemoteFiles); }
    void setShowsHiddenRemoteFiles(bool value) { set(keyShowsHiddenRemoteFiles, value); }
    /// The order of the files in the browser, see RemoteFileOrder::Sorting; 0 is by name.
    bool offersToLeaveOut() const { return value(keyOffersToLeaveOut); }
    void setOffersToLeaveOut(bool value) { set(keyOffersToLeaveOut, value); }
    /// Whether a strip beside the scroll bar shows where matches and marked lines are.
    bool showsOverview() const { return value(keyShowsOverview); }
    void setShowsOverview(bool value) { set(keyShowsOverview, value); }
    /// Of the search used last.
    SearchSwitches searchSwitches() const { return SearchSwitches::fromNumber(value(keySearchSwitches)); }
    void setSearchSwitches(SearchSwitches switches) { set(keySearchSwitches, switches.toNumber()); }
    HiddenLines hiddenLines() const { return static_cast<HiddenLines>(value(keyHiddenLines)); }
    void setHiddenLines(HiddenLines mode) { set(keyHiddenLines, static_cast<int>(mode)); }
    int remoteFileSorting() const { return value(keyRemoteFileSorting); }
    void setRemoteFileSorting(int value) { set(keyRemoteFileSorting, value); }

    HostKeyChoice hostKeyChoice() const;
    void setHostKeyChoice(HostKeyChoice choice);

    bool nmsshDebug() const { return value(keyNMSSHDebug); }
    /// Also switches the SSH library's own log, through the hook, in the same call.
    void setNmsshDebug(bool value);
    void setSshLogSwitch(std::function<void(bool)> hook);

    /// The system's font when the stored one is invalid.
    QFont logViewFont() const;
    void setLogViewFont(const QFont& font);
    /// Whether the stored font of the log view, or the default, is valid.
    bool hasLogViewFont() const;
    /// Back to the default.
    void forgetLogViewFont();
    /// The font of the system's own texts, at 12 points.
    QFont systemFont() const;
    QColor logViewBackground() const { return color(keyLogViewBGColor); }
    void setLogViewBackground(const QColor& color) { set(keyLogViewBGColor, color); }
    QColor logViewForeground() const { return color(keyLogViewFGColor); }
    void setLogViewForeground(const QColor& color) { set(keyLogViewFGColor, color); }
    QColor logViewLineNumViewForeground() const { return color(keyLogViewLineNumberFGColor); }
    void setLogViewLineNumViewForeground(const QColor& color) { set(keyLogViewLineNumberFGColor, color); }
    /// Font and colours of the log view as a new user has them.
    void restoreLogViewLooks();

    /// Whether the file's lines are wrapped, as stored for this file; false for an unknown one.
    bool isWrapLines(const QString& fileId) const { return userDefaults_->boolForKey(wrapKey(fileId)); }
    void setWrapLines(bool value, const QString& fileId) { userDefaults_->set(wrapKey(fileId), value); }
    /// Whether something is stored for this file.
    bool hasWrapLines(const QString& fileId) const { return userDefaults_->value(wrapKey(fileId)).isValid(); }

    /// The forms in which fonts and colours are stored.
    static QByteArray archivedFont(const QFont& font);
    static QByteArray archivedColor(const QColor& color);

    /// Notices of every change, with the storage key.
    UserDefaults::Token observe(UserDefaults::Handler handler) {
        return userDefaults_->observe(std::move(handler));
    }
    UserDefaults& userDefaults() { return *userDefaults_; }

private:
    template <typename T>
    T value(const Setting<T>& setting) const;
    template <typename T>
    void set(const Setting<T>& setting, const T& value) {
        userDefaults_->set(setting.key, stored(value));
    }
    template <typename T>
    static QVariant stored(const T& value) {
        return value;
    }
    static QVariant stored(const QColor& color) { return archivedColor(color); }

    std::array<const Setting<QColor>*, 3> colorSettings() const;
    QColor color(const Setting<QColor>& setting) const;
    void refreshCachedColor(const QString& key);
    static QString wrapKey(const QString& fileId) { return keyWrapLines.key + QLatin1Char('_') + fileId; }

    const std::unique_ptr<UserDefaults> userDefaults_;
    UserDefaults::Token colorsToken_;

    mutable Mutex mutex_;
    /// The keys never change.
    std::map<QString, QColor> colors_ GUARDED_BY(mutex_){
        {keyLogViewBGColor.key, keyLogViewBGColor.defaultValue},
        {keyLogViewFGColor.key, keyLogViewFGColor.defaultValue},
        {keyLogViewLineNumberFGColor.key, keyLogViewLineNumberFGColor.defaultValue},
    };
    mutable std::optional<QFont> logViewFontCached_ GUARDED_BY(mutex_);
    QFont systemFont_ GUARDED_BY(mutex_);
    std::function<void(bool)> sshLogSwitch_ GUARDED_BY(mutex_);
};

template <typename T>
T Preferences::value(const Setting<T>& setting) const {
    const T stored = qvariant_cast<T>(userDefaults_->value(setting.key));
    return setting.limits ? std::clamp(stored, setting.limits->first, setting.limits->second) : stored;
}

} // namespace korvane
