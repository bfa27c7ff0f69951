#include "foundation/archive/KeyedArchiver.h"

#include "foundation/FilePath.h"
#include "foundation/archive/ArchiveFormat.h"

#include <utility>

namespace korvane {

using namespace archiveformat;

KeyedArchiver::KeyedArchiver() {
    append(PropertyList(nullObject));
}

KeyedArchiver::Reference KeyedArchiver::append(PropertyList object) {
    objects_.push_back(std::move(object));
    return {objects_.size() - 1};
}

KeyedArchiver::Reference KeyedArchiver::add(const QString& text) {
    const auto known = texts_.constFind(text);
    if (known != texts_.cend())
        return *known;
    return *texts_.insert(text, append(PropertyList(text)));
}

KeyedArchiver::Reference KeyedArchiver::add(const QByteArray& data) {
    return append(PropertyList(data));
}

KeyedArchiver::Reference KeyedArchiver::addNumber(qint64 number) {
    return append(PropertyList(std::int64_t(number)));
}

KeyedArchiver::Reference KeyedArchiver::add(const QUuid& uuid) {
    const Reference place = reserve();
    fill(place, {{uuidBytesKey, PropertyList(uuid.toRfc4122())}}, {uuidClass, rootClass});
    return place;
}

KeyedArchiver::Reference KeyedArchiver::add(const QUrl& url) {
    const Reference place = reserve();
    fill(place,
         {{urlBaseKey, PropertyList(null())}, {urlRelativeKey, PropertyList(add(absoluteString(url)))}},
         {urlClass, rootClass});
    return place;
}

KeyedArchiver::Reference KeyedArchiver::add(const QColor& color) {
    // Ten digits distinguish all 65536 values of a component.
    const auto component = [](quint16 value) { return QByteArray::number(value / 65535.0, 'g', 10); };
    const QRgba64 rgba = color.rgba64();
    QByteArray components =
        component(rgba.red()) + ' ' + component(rgba.green()) + ' ' + component(rgba.blue());
    if (!rgba.isOpaque())
        components += ' ' + component(rgba.alpha());
    components += '\0';
    const Reference place = reserve();
    fill(
        place,
        {{colorSpaceKey, PropertyList(std::int64_t(calibratedRgb))}, {colorRgbKey, PropertyList(components)}},
        {colorClass, rootClass});
    return place;
}

void KeyedArchiver::fill(Reference place, std::vector<PropertyListDictionary::Entry> fields,
                         const QStringList& classChain) {
    fields.emplace_back(classKey, PropertyList(classReference(classChain)));
    objects_[place.value] = PropertyList(PropertyListDictionary(std::move(fields)));
}

void KeyedArchiver::fillArray(Reference place, PropertyList::Array elements) {
    fill(place, {{objectsOfContainer, PropertyList(std::move(elements))}},
         {mutableArrayClass, arrayClass, rootClass});
}

void KeyedArchiver::fillDictionary(Reference place, PropertyList::Array keys, PropertyList::Array values) {
    fill(place,
         {{keysOfContainer, PropertyList(std::move(keys))},
          {objectsOfContainer, PropertyList(std::move(values))}},
         {mutableDictionaryClass, dictionaryClass, rootClass});
}

KeyedArchiver::Reference KeyedArchiver::classReference(const QStringList& classChain) {
    const auto known = classes_.constFind(classChain.front());
    if (known != classes_.cend())
        return *known;
    PropertyList::Array chain;
    for (const QString& name : classChain)
        chain.emplace_back(name);
    PropertyListDictionary description(
        {{classNameKey, PropertyList(classChain.front())}, {classChainKey, PropertyList(std::move(chain))}});
    return *classes_.insert(classChain.front(), append(PropertyList(std::move(description))));
}

QByteArray KeyedArchiver::archivedData(Reference root) {
    const PropertyList archive(PropertyListDictionary(
        {{archiverKey, PropertyList(archiverName)},
         {versionKey, PropertyList(std::int64_t(version))},
         {topKey, PropertyList(PropertyListDictionary({{rootKey, PropertyList(root)}}))},
         {objectsKey, PropertyList(std::move(objects_))}}));
    return archive.toBinary();
}

} // namespace korvane
