#include "documents/ChosenEncodings.h"

#include "core/Preferences.h"
#include "foundation/FilePath.h"

#include <QStringList>

#include <algorithm>

namespace korvane {
namespace {

const QString encodingsKey = QStringLiteral("chosenEncodings");

/// An entry is the encoding's number, a space and the address. `encoding::unknown` stands for UTF-8 with
/// replacements.
QString entryOf(StringEncoding number, const QString& address) {
    return QString::number(number) + u' ' + address;
}

bool isEntryOf(const QString& entry, const QString& address) {
    return QStringView(entry).sliced(entry.indexOf(u' ') + 1) == address;
}

} // namespace

EncodingChoice ChosenEncodings::choiceFor(const QUrl& url) {
    const QString address = absoluteString(url);
    for (const QString& entry : Preferences::shared().userDefaults().textsForKey(encodingsKey)) {
        if (!isEntryOf(entry, address))
            continue;
        const StringEncoding number = QStringView(entry).first(entry.indexOf(u' ')).toUInt();
        if (number == encoding::unknown)
            return {EncodingChoice::Kind::LenientUtf8, encoding::utf8};
        if (!encodingName(number).isEmpty())
            return {EncodingChoice::Kind::Fixed, number};
    }
    return {};
}

void ChosenEncodings::set(const QUrl& url, EncodingChoice choice) {
    UserDefaults& defaults = Preferences::shared().userDefaults();
    const QString address = absoluteString(url);
    const QStringList before = defaults.textsForKey(encodingsKey);
    QStringList entries = before;
    entries.removeIf([&](const QString& entry) { return isEntryOf(entry, address); });
    if (choice.kind != EncodingChoice::Kind::Automatic)
        entries.prepend(entryOf(
            choice.kind == EncodingChoice::Kind::Fixed ? choice.encoding : encoding::unknown, address));
    entries.resize(std::min(entries.size(), maximum));
    if (entries != before)
        defaults.set(encodingsKey, entries);
}

} // namespace korvane
