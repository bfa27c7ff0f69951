#pragma once

#include "foundation/archive/KeyedArchiver.h"

#include <QStringList>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace korvane::test {

/// Any archived object, from its class and whatever writes its fields.
struct Raw {
    QStringList classes;
    std::function<void(KeyedEncoder&)> encodeFields;
};
inline QStringList archivedClassChain(const Raw& raw) {
    return raw.classes;
}
inline void encode(const Raw& raw, KeyedEncoder& encoder) {
    if (raw.encodeFields)
        raw.encodeFields(encoder);
}

inline std::shared_ptr<Raw> raw(const QString& name, std::function<void(KeyedEncoder&)> encodeFields = {}) {
    return std::make_shared<Raw>(Raw{{name, QStringLiteral("NSObject")}, std::move(encodeFields)});
}

/// Writes one field in place of the right one, under the key it is given.
using FieldWriter = std::function<void(KeyedEncoder&, const QString& key)>;

inline FieldWriter numberField(qint64 number) {
    return [number](KeyedEncoder& encoder, const QString& key) {
        encoder.encodeReference(key, encoder.archiver().addNumber(number));
    };
}
inline FieldWriter textField(const QString& text) {
    return [text](KeyedEncoder& encoder, const QString& key) { encoder.encode(key, text); };
}
inline FieldWriter objectField(std::shared_ptr<Raw> object) {
    return [object](KeyedEncoder& encoder, const QString& key) { encoder.encode(key, object); };
}
inline FieldWriter nullField() {
    return [](KeyedEncoder& encoder, const QString& key) {
        encoder.encodeReference(key, KeyedArchiver::null());
    };
}

/// An archive whose root is the list of these objects; a null pointer is the null object.
inline QByteArray archiveOf(const std::vector<std::shared_ptr<Raw>>& objects) {
    KeyedArchiver archiver;
    return archiver.archivedData(
        archiver.addArray(objects, [&](const auto& object) { return archiver.add(object); }));
}

} // namespace korvane::test
