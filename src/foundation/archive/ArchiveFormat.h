#pragma once

#include <QString>
#include <QStringList>

/// The keys and class names of the keyed-archive format.
namespace korvane::archiveformat {

inline const QString archiverKey = QStringLiteral("$archiver");
inline const QString archiverName = QStringLiteral("NSKeyedArchiver");
inline const QString versionKey = QStringLiteral("$version");
inline constexpr int version = 100000;
inline const QString topKey = QStringLiteral("$top");
inline const QString rootKey = QStringLiteral("root");
inline const QString objectsKey = QStringLiteral("$objects");
inline const QString nullObject = QStringLiteral("$null");
inline const QString classKey = QStringLiteral("$class");
inline const QString classNameKey = QStringLiteral("$classname");
inline const QString classChainKey = QStringLiteral("$classes");

inline const QString rootClass = QStringLiteral("NSObject");
inline const QString arrayClass = QStringLiteral("NSArray");
inline const QString mutableArrayClass = QStringLiteral("NSMutableArray");
inline const QString dictionaryClass = QStringLiteral("NSDictionary");
inline const QString mutableDictionaryClass = QStringLiteral("NSMutableDictionary");
inline const QString stringClass = QStringLiteral("NSString");
inline const QString mutableStringClass = QStringLiteral("NSMutableString");
inline const QString mutableDataClass = QStringLiteral("NSMutableData");
inline const QString dataClass = QStringLiteral("NSData");
inline const QString uuidClass = QStringLiteral("NSUUID");
inline const QString urlClass = QStringLiteral("NSURL");
inline const QString colorClass = QStringLiteral("NSColor");

inline const QString objectsOfContainer = QStringLiteral("NS.objects");
inline const QString keysOfContainer = QStringLiteral("NS.keys");
inline const QString stringKey = QStringLiteral("NS.string");
inline const QString dataKey = QStringLiteral("NS.data");
inline const QString uuidBytesKey = QStringLiteral("NS.uuidbytes");
inline const QString urlBaseKey = QStringLiteral("NS.base");
inline const QString urlRelativeKey = QStringLiteral("NS.relative");
inline const QString colorSpaceKey = QStringLiteral("NSColorSpace");
inline const QString colorRgbKey = QStringLiteral("NSRGB");
inline const QString colorWhiteKey = QStringLiteral("NSWhite");
inline const QString colorComponentsKey = QStringLiteral("NSComponents");

enum ColorSpace { calibratedRgb = 1, deviceRgb = 2, calibratedWhite = 3, deviceWhite = 4 };

/// Prefixes of the program's own class names, plain and in the compiler's mangled form (which has the name's
/// length in between).
inline const QString modulePrefix = QStringLiteral("Korvane.");
inline const QString mangledModulePrefix = QStringLiteral("_TtC7Korvane");
inline QString mangledClassName(const QString& name) {
    return mangledModulePrefix + QString::number(name.size()) + name;
}

} // namespace korvane::archiveformat
