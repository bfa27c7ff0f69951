#include "ui/desktop/ShareTemplate.h"

#include "foundation/archive/PropertyList.h"

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

/// The text of the current element, up to its end. Not readElementText(), which skips unresolved entity
/// references.
QString elementText(QXmlStreamReader& xml) {
    QString text;
    for (;;) {
        switch (xml.readNext()) {
        case QXmlStreamReader::Characters:
            text += xml.text();
            break;
        case QXmlStreamReader::Comment:
        case QXmlStreamReader::ProcessingInstruction:
            break;
        case QXmlStreamReader::EndElement:
            return text;
        default:
            xml.raiseError(QStringLiteral("no plain text"));
            return {};
        }
    }
}

/// Reads the content of the root dictionary, up to its end.
void readDictionary(QXmlStreamReader& xml, Texts& texts) {
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("key")) {
            xml.raiseError(QStringLiteral("a value without a key"));
            return;
        }
        const QString key = elementText(xml);
        if (!xml.readNextStartElement()) {
            xml.raiseError(QStringLiteral("a key without a value"));
            return;
        }
        if (xml.name() == QLatin1String("string"))
            texts.insert(key, elementText(xml));
        else
            xml.skipCurrentElement();
    }
}

Texts fromXml(const QByteArray& bytes) {
    Texts texts;
    QXmlStreamReader xml(bytes);
    // The reader would silently leave out external entities.
    while (!xml.atEnd() && !xml.isStartElement()) {
        if (xml.readNext() == QXmlStreamReader::DTD && !xml.entityDeclarations().isEmpty())
            return texts;
    }
    if (!xml.isStartElement() || xml.name() != QLatin1String("plist") || !xml.readNextStartElement() ||
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
