#include "core/Preferences.h"

#include <utility>

namespace korvane {
namespace {

constexpr double defaultPointSize = 12.0;

/// The stored forms, in the order of the values.
const QStringList& hostKeyChoices() {
    static const QStringList texts{QStringLiteral("acceptAll"), QStringLiteral("acceptNew"),
                                   QStringLiteral("askForNew")};
    return texts;
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

Preferences::Preferences(std::unique_ptr<UserDefaults> userDefaults)
    : userDefaults_(std::move(userDefaults)) {
    colorsToken_ = userDefaults_->observe([this](const QString& key) { refreshCachedColor(key); });
    for (const Setting<QColor>* color : colorSettings())
        refreshCachedColor(color->key);
}

void Preferences::registerDefaults(const FontCatalog& fonts) {
    const QString preferredFamily = QStringLiteral("Courier New");
    const QFont font =
        atDefaultSize(fonts.isInstalled(preferredFamily) ? QFont(preferredFamily) : fonts.userFont());
    {
        const MutexLock guard(mutex_);
        systemFont_ = atDefaultSize(fonts.systemFont());
    }
    std::map<QString, QVariant> defaults{{keyLogViewFont, archivedFont(font)}};
    std::apply([&](const auto&... each) { (defaults.emplace(each.key, stored(each.defaultValue)), ...); },
               settings());
    userDefaults_->registerDefaults(defaults);
    for (const Setting<QColor>* color : colorSettings())
        refreshCachedColor(color->key);
    // A settings file edited by hand can hold any number.
    if (const double interval = pollingInterval(); interval > 0 && interval != value(keyPollingInterval))
        setPollingInterval(value(keyPollingInterval));
}

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

void Preferences::setNmsshDebug(bool value) {
    set(keyNMSSHDebug, value);
    std::function<void(bool)> hook;
    {
        const MutexLock guard(mutex_);
        hook = sshLogSwitch_;
    }
    if (hook)
        hook(value);
}

void Preferences::setSshLogSwitch(std::function<void(bool)> hook) {
    const MutexLock guard(mutex_);
    sshLogSwitch_ = std::move(hook);
}

QFont Preferences::logViewFont() const {
    const MutexLock guard(mutex_);
    if (!logViewFontCached_)
        logViewFontCached_ = fontFromArchive(userDefaults_->value(keyLogViewFont)).value_or(systemFont_);
    return *logViewFontCached_;
}

void Preferences::setLogViewFont(const QFont& font) {
    {
        const MutexLock guard(mutex_);
        logViewFontCached_ = font;
    }
    userDefaults_->set(keyLogViewFont, archivedFont(font));
}

bool Preferences::hasLogViewFont() const {
    return fontFromArchive(userDefaults_->value(keyLogViewFont)).has_value();
}

void Preferences::forgetLogViewFont() {
    {
        const MutexLock guard(mutex_);
        logViewFontCached_.reset();
    }
    userDefaults_->remove(keyLogViewFont);
}

QFont Preferences::systemFont() const {
    const MutexLock guard(mutex_);
    return systemFont_;
}

void Preferences::restoreLogViewLooks() {
    forgetLogViewFont();
    for (const Setting<QColor>* color : colorSettings())
        userDefaults_->remove(color->key);
}

QByteArray Preferences::archivedFont(const QFont& font) {
    return font.toString().toUtf8();
}

QByteArray Preferences::archivedColor(const QColor& color) {
    return color.name(QColor::HexArgb).toLatin1();
}

std::array<const Setting<QColor>*, 3> Preferences::colorSettings() const {
    return {&keyLogViewBGColor, &keyLogViewFGColor, &keyLogViewLineNumberFGColor};
}

QColor Preferences::color(const Setting<QColor>& setting) const {
    const MutexLock guard(mutex_);
    return colors_.at(setting.key);
}

void Preferences::refreshCachedColor(const QString& key) {
    // Read the stored value under the lock, so that the later of two concurrent changes wins.
    const MutexLock guard(mutex_);
    const auto cached = colors_.find(key);
    if (cached == colors_.end())
        return;
    const QColor color(QString::fromLatin1(userDefaults_->value(key).toByteArray()));
    if (color.isValid()) // otherwise keep the last valid one
        cached->second = color;
}

} // namespace korvane
