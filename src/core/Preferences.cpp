#include "core/Preferences.h"

#include "foundation/FatalError.h"

#include <algorithm>
#include <array>
#include <utility>

namespace korvane {
namespace {

constexpr double defaultPointSize = 12.0;

std::unique_ptr<Preferences>& sharedSlot() {
    static std::unique_ptr<Preferences> instance;
    return instance;
}

/// As they are stored, in the order of the values.
const QStringList& hostKeyChoices() {
    static const QStringList texts{QStringLiteral("acceptAll"), QStringLiteral("acceptNew"),
                                   QStringLiteral("askForNew")};
    return texts;
}

QColor colorFromArchive(const QVariant& stored) {
    return QColor(QString::fromLatin1(stored.toByteArray()));
}

QFont atDefaultSize(QFont font) {
    font.setPointSizeF(defaultPointSize);
    return font;
}

std::optional<QFont> fontFromArchive(const QVariant& archived) {
    QFont font;
    return font.fromString(QString::fromUtf8(archived.toByteArray())) ? std::optional(font) : std::nullopt;
}

} // namespace

Preferences& Preferences::shared() {
    if (!sharedSlot())
        fatalError("the preferences are used before they are made");
    return *sharedSlot();
}

bool Preferences::hasShared() {
    return sharedSlot() != nullptr;
}

void Preferences::setShared(std::unique_ptr<Preferences> preferences) {
    sharedSlot() = std::move(preferences);
}

Preferences::Preferences(std::unique_ptr<UserDefaults> userDefaults)
    : userDefaults_(std::move(userDefaults)) {
    colorsToken_ = userDefaults_->observe([this](const QString& key) { refreshCachedColor(key); });
    for (const QString& key : {keyLogViewBGColor, keyLogViewFGColor, keyLogViewLineNumberFGColor})
        refreshCachedColor(key);
}

void Preferences::registerDefaults(const FontCatalog& fonts) {
    const QString preferredFamily = QStringLiteral("Courier New");
    const QFont font =
        atDefaultSize(fonts.isInstalled(preferredFamily) ? QFont(preferredFamily) : fonts.userFont());
    {
        const std::lock_guard guard(mutex_);
        systemFont_ = atDefaultSize(fonts.systemFont());
    }
    // The text is deliberately not pure black.
    const QColor text = QColor::fromRgbF(1.0F / 255, 1.0F / 255, 1.0F / 255, 1.0F);
    userDefaults_->registerDefaults({
        {keyPollingInterval, 0.5},
        {keyShowLineNumbers, true},
        {keyQuickHighlightSelection, true},
        {keyStartTailingOnFileOpen, true},
        {keyAutoTailOnScroll, true},
        {keyShowSidebarOnFileOpen, true},
        {keyConfirmDeleteBookmark, true},
        {keyConfirmDeleteFilterHighlightRule, true},
        {keyConfirmDeleteRemoteHost, true},
        {sshShowRemoteTerminalAlertKey, true},
        {openLocalTerminalAlertKey, true},
        {keyLogViewFont, archivedFont(font)},
        {keyLogViewBGColor, archivedColor(Qt::white)},
        {keyLogViewFGColor, archivedColor(text)},
        {keyLogViewLineNumberFGColor, archivedColor(defaultLineNumberColor)},
        {keyWrapLines, false},
        {keyLazyLoadFile, true},
        {keyShowWelcomeWinOnStart, true},
        {keyNMSSHDebug, false},
        {keyUseTabs, true},
        {keyReopenDocuments, true},
        {keyRowMemory, 256},
        {keyPipeReserve, 1024},
        {keyOpenAtEnd, false},
        {keyShowsHiddenRemoteFiles, false},
        {keyRemoteFileSorting, 0},
    });
    for (const QString& key : {keyLogViewBGColor, keyLogViewFGColor, keyLogViewLineNumberFGColor})
        refreshCachedColor(key);
    // Written into the settings by hand, it can be anything.
    if (const double interval = pollingInterval(); interval > 0) {
        const double usable = std::clamp(interval, shortestPollingInterval, longestPollingInterval);
        if (usable != interval)
            setPollingInterval(usable);
    }
}

double Preferences::pollingInterval() const {
    return userDefaults_->doubleForKey(keyPollingInterval);
}
void Preferences::setPollingInterval(double seconds) {
    userDefaults_->set(keyPollingInterval, seconds);
}

int Preferences::rowMemory() const {
    const int stored = userDefaults_->value(keyRowMemory).toInt();
    return std::clamp(stored, leastRowMemory, mostRowMemory);
}
void Preferences::setRowMemory(int mebibytes) {
    userDefaults_->set(keyRowMemory, mebibytes);
}

int Preferences::pipeReserve() const {
    return std::clamp(userDefaults_->value(keyPipeReserve).toInt(), 0, mostPipeReserve);
}
void Preferences::setPipeReserve(int mebibytes) {
    userDefaults_->set(keyPipeReserve, mebibytes);
}

int Preferences::remoteFileSorting() const {
    return userDefaults_->value(keyRemoteFileSorting).toInt();
}
void Preferences::setRemoteFileSorting(int value) {
    userDefaults_->set(keyRemoteFileSorting, value);
}

// One getter and one setter for each boolean setting; the store is asked every time.
#define KORVANE_BOOLEAN_SETTING(getter, setter, key)                                                         \
    bool Preferences::getter() const {                                                                       \
        return userDefaults_->boolForKey(key);                                                               \
    }                                                                                                        \
    void Preferences::setter(bool value) {                                                                   \
        userDefaults_->set(key, value);                                                                      \
    }
KORVANE_BOOLEAN_SETTING(showLineNumbers, setShowLineNumbers, keyShowLineNumbers)
KORVANE_BOOLEAN_SETTING(quickHighlightSelection, setQuickHighlightSelection, keyQuickHighlightSelection)
KORVANE_BOOLEAN_SETTING(startTailingOnFileOpen, setStartTailingOnFileOpen, keyStartTailingOnFileOpen)
KORVANE_BOOLEAN_SETTING(autoTailOnScroll, setAutoTailOnScroll, keyAutoTailOnScroll)
KORVANE_BOOLEAN_SETTING(showSidebarOnFileOpen, setShowSidebarOnFileOpen, keyShowSidebarOnFileOpen)
KORVANE_BOOLEAN_SETTING(confirmDeleteBookmark, setConfirmDeleteBookmark, keyConfirmDeleteBookmark)
KORVANE_BOOLEAN_SETTING(confirmDeleteFilterHighlightRule, setConfirmDeleteFilterHighlightRule,
                        keyConfirmDeleteFilterHighlightRule)
KORVANE_BOOLEAN_SETTING(confirmDeleteRemoteHost, setConfirmDeleteRemoteHost, keyConfirmDeleteRemoteHost)
KORVANE_BOOLEAN_SETTING(showRemoteTerminalAlert, setShowRemoteTerminalAlert, sshShowRemoteTerminalAlertKey)
KORVANE_BOOLEAN_SETTING(openLocalTerminalAlert, setOpenLocalTerminalAlert, openLocalTerminalAlertKey)
KORVANE_BOOLEAN_SETTING(wrapLines, setWrapLines, keyWrapLines)
KORVANE_BOOLEAN_SETTING(lazyLoadFile, setLazyLoadFile, keyLazyLoadFile)
KORVANE_BOOLEAN_SETTING(showWelcomeWinOnStart, setShowWelcomeWinOnStart, keyShowWelcomeWinOnStart)
KORVANE_BOOLEAN_SETTING(openAtEnd, setOpenAtEnd, keyOpenAtEnd)
KORVANE_BOOLEAN_SETTING(useTabs, setUseTabs, keyUseTabs)
KORVANE_BOOLEAN_SETTING(reopenDocuments, setReopenDocuments, keyReopenDocuments)
KORVANE_BOOLEAN_SETTING(showsHiddenRemoteFiles, setShowsHiddenRemoteFiles, keyShowsHiddenRemoteFiles)
#undef KORVANE_BOOLEAN_SETTING

HostKeyChoice Preferences::hostKeyChoice() const {
    if (const auto chosen = hostKeyChoices().indexOf(userDefaults_->value(keyHostKeys).toString());
        chosen >= 0)
        return static_cast<HostKeyChoice>(chosen);
    if (!userDefaults_->value(keyChecksHostKeys).isValid())
        return HostKeyChoice::AcceptNew;
    return userDefaults_->boolForKey(keyChecksHostKeys) ? HostKeyChoice::AskForNew : HostKeyChoice::AcceptAll;
}
void Preferences::setHostKeyChoice(HostKeyChoice choice) {
    userDefaults_->set(keyHostKeys, hostKeyChoices()[static_cast<qsizetype>(choice)]);
}

bool Preferences::nmsshDebug() const {
    return userDefaults_->boolForKey(keyNMSSHDebug);
}

void Preferences::setNmsshDebug(bool value) {
    userDefaults_->set(keyNMSSHDebug, value);
    std::function<void(bool)> hook;
    {
        const std::lock_guard guard(mutex_);
        hook = sshLogSwitch_;
    }
    if (hook)
        hook(value);
}

void Preferences::setSshLogSwitch(std::function<void(bool)> hook) {
    const std::lock_guard guard(mutex_);
    sshLogSwitch_ = std::move(hook);
}

QFont Preferences::logViewFont() const {
    const std::lock_guard guard(mutex_);
    if (!logViewFontCached_)
        logViewFontCached_ = fontFromArchive(userDefaults_->value(keyLogViewFont)).value_or(systemFont_);
    return *logViewFontCached_;
}

void Preferences::setLogViewFont(const QFont& font) {
    {
        const std::lock_guard guard(mutex_);
        logViewFontCached_ = font;
    }
    userDefaults_->set(keyLogViewFont, archivedFont(font));
}

QFont Preferences::systemFont() const {
    const std::lock_guard guard(mutex_);
    return systemFont_;
}

QColor Preferences::logViewBackground() const {
    const std::lock_guard guard(mutex_);
    return logViewBackground_;
}

QColor Preferences::logViewForeground() const {
    const std::lock_guard guard(mutex_);
    return logViewForeground_;
}

QColor Preferences::logViewLineNumViewForeground() const {
    const std::lock_guard guard(mutex_);
    return logViewLineNumViewForeground_;
}

void Preferences::setLogViewBackground(const QColor& color) {
    userDefaults_->set(keyLogViewBGColor, archivedColor(color));
}

void Preferences::setLogViewForeground(const QColor& color) {
    userDefaults_->set(keyLogViewFGColor, archivedColor(color));
}

void Preferences::setLogViewLineNumViewForeground(const QColor& color) {
    userDefaults_->set(keyLogViewLineNumberFGColor, archivedColor(color));
}

bool Preferences::hasLogViewFont() const {
    return fontFromArchive(userDefaults_->value(keyLogViewFont)).has_value();
}

void Preferences::forgetLogViewFont() {
    {
        const std::lock_guard guard(mutex_);
        logViewFontCached_.reset();
    }
    userDefaults_->remove(keyLogViewFont);
}

void Preferences::restoreLogViewLooks() {
    forgetLogViewFont();
    for (const QString& key : {keyLogViewBGColor, keyLogViewFGColor, keyLogViewLineNumberFGColor})
        userDefaults_->remove(key);
}

bool Preferences::isWrapLines(const QString& fileId) const {
    return userDefaults_->boolForKey(wrapKey(fileId));
}

void Preferences::setWrapLines(bool value, const QString& fileId) {
    userDefaults_->set(wrapKey(fileId), value);
}

bool Preferences::hasWrapLines(const QString& fileId) const {
    return userDefaults_->value(wrapKey(fileId)).isValid();
}

QString Preferences::wrapKey(const QString& fileId) const {
    return keyWrapLines + QLatin1Char('_') + fileId;
}

QByteArray Preferences::archivedFont(const QFont& font) {
    return font.toString().toUtf8();
}

QByteArray Preferences::archivedColor(const QColor& color) {
    return color.name(QColor::HexArgb).toLatin1();
}

UserDefaults::Token Preferences::observe(UserDefaults::Handler handler) {
    return userDefaults_->observe(std::move(handler));
}

void Preferences::refreshCachedColor(const QString& key) {
    const std::array<std::pair<const QString*, QColor*>, 3> cached{{
        {&keyLogViewBGColor, &logViewBackground_},
        {&keyLogViewFGColor, &logViewForeground_},
        {&keyLogViewLineNumberFGColor, &logViewLineNumViewForeground_},
    }};
    for (const auto& [colorKey, color] : cached) {
        if (*colorKey != key)
            continue;
        // Read under the lock: of two changes at once the later one stays.
        const std::lock_guard guard(mutex_);
        const QColor stored = colorFromArchive(userDefaults_->value(key));
        // A value that is no colour leaves the last good one.
        if (stored.isValid())
            *color = stored;
    }
}

} // namespace korvane
