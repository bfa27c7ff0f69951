#include "ui/ShareTemplate.h"

#include "foundation/PropertyList.h"

#include <QXmlStreamReader>

namespace korvane {
namespace {

using Texts = QHash<QString, QString>;

Texts fromBinary(const QByteArray& bytes) {
    Texts texts;
    const Result<PropertyList> list = PropertyList::fromBinary(bytes);
    const PropertyList::Dictionary* const root = list ? list.value().dictionary() : nullptr;
    if (!root)
        return texts;
    for (const auto& [key, value] : root->entries()) {
        if (const auto* const text = value.as<QString>())
            texts.insert(key, *text);
    }
    return texts;
}

/// Reads the content of the root dictionary, up to its end.
void readDictionary(QXmlStreamReader& xml, Texts& texts) {
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("key")) {
            xml.raiseError(QStringLiteral("a value without a key"));
            return;
        }
        const QString key = xml.readElementText();
        if (!xml.readNextStartElement()) {
            xml.raiseError(QStringLiteral("a key without a value"));
            return;
        }
        if (xml.name() == QLatin1String("string"))
            texts.insert(key, xml.readElementText());
        else
            xml.skipCurrentElement();
    }
}

Texts fromXml(const QByteArray& bytes) {
    Texts texts;
    QXmlStreamReader xml(bytes);
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("plist") || !xml.readNextStartElement() ||
        xml.name() != QLatin1String("dict"))
        return texts;
    readDictionary(xml, texts);
    while (!xml.atEnd())
        xml.readNext();
    return xml.hasError() ? Texts() : texts;
}

} // namespace

QHash<QString, QString> shareTemplate(const QByteArray& propertyList) {
    return propertyList.startsWith("bplist") ? fromBinary(propertyList) : fromXml(propertyList);
}

} // namespace korvane
