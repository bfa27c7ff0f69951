#include "foundation/archive/KeyedUnarchiver.h"

#include "foundation/archive/ArchiveFormat.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace korvane {

using namespace archiveformat;

namespace {

/// Limits the class names in error texts, in UTF-16 units.
constexpr qsizetype longestShownName = 80;
/// Maximum depth of URL bases; a base may have a base in turn.
constexpr int mostUrlBases = 8;
/// Limits the class chain that is searched; the platform's own classes have far fewer superclasses.
constexpr std::size_t mostSuperclasses = 16;
/// Limits the text of a colour's components, in bytes.
constexpr qsizetype longestColor = 256;

Error fault(ArchiveFault code, const QString& text) {
    return {static_cast<int>(code), QStringLiteral("KeyedArchive"), text};
}

QString shown(const QString& name) {
    return name.left(longestShownName);
}

/// "Korvane.X" for both forms of the program's class names.
QString plainClassName(const QString& name) {
    if (!name.startsWith(mangledModulePrefix))
        return name;
    const QStringView rest = QStringView(name).sliced(mangledModulePrefix.size());
    qsizetype digits = 0;
    while (digits < rest.size() && digits < 4 && rest.at(digits) >= u'0' && rest.at(digits) <= u'9')
        ++digits;
    const QStringView plain = rest.sliced(digits);
    const bool isWhole = digits > 0 && rest.first(digits).toInt() == plain.size() && !plain.isEmpty();
    return isWhole ? modulePrefix + plain.toString() : name;
}

bool isPlatformClass(const QString& name) {
    static const std::set<QString> names{
        arrayClass,  mutableArrayClass,  dictionaryClass, mutableDictionaryClass,
        stringClass, mutableStringClass, dataClass,       mutableDataClass,
        uuidClass,   urlClass,           colorClass};
    return names.contains(name);
}

/// Numbers between 0 and 1, separated by spaces and ended by NUL or the end; nullopt for any other text.
std::optional<std::vector<float>> colorComponents(const PropertyList* value) {
    const auto* data = value ? value->as<QByteArray>() : nullptr;
    if (!data || data->size() > longestColor)
        return std::nullopt;
    QByteArray text = *data;
    while (text.endsWith('\0'))
        text.chop(1);
    std::vector<float> components;
    for (const QByteArray& word : text.simplified().split(' ')) {
        bool isNumber = false;
        const double component = word.toDouble(&isNumber);
        if (!isNumber || !std::isfinite(component))
            return std::nullopt;
        components.push_back(static_cast<float>(std::clamp(component, 0.0, 1.0)));
    }
    return components;
}

std::optional<QColor> rgbColor(const std::vector<float>& components) {
    if (components.size() != 3 && components.size() != 4)
        return std::nullopt;
    return QColor::fromRgbF(components[0], components[1], components[2],
                            components.size() == 4 ? components[3] : 1.0F);
}

std::optional<QColor> whiteColor(const std::vector<float>& components) {
    if (components.size() != 1 && components.size() != 2)
        return std::nullopt;
    return QColor::fromRgbF(components[0], components[0], components[0],
                            components.size() == 2 ? components[1] : 1.0F);
}

} // namespace

Result<std::unique_ptr<KeyedUnarchiver>> KeyedUnarchiver::open(const QByteArray& archive,
                                                               const ArchiveClasses& classes) {
    Result<PropertyList> list = PropertyList::fromBinary(archive);
    if (!list)
        return fault(ArchiveFault::damaged, list.error().userText);
    std::unique_ptr<KeyedUnarchiver> unarchiver(
        new KeyedUnarchiver(std::move(list).value(), classes, archive.size()));
    if (!unarchiver->readTables())
        return fault(ArchiveFault::damaged,
                     QCoreApplication::translate("KeyedArchive", "the data is no keyed archive"));
    return unarchiver;
}

bool KeyedUnarchiver::readTables() {
    const PropertyListDictionary* const archive = archive_.dictionary();
    if (!archive)
        return false;
    const PropertyList* const archiver = archive->value(archiverKey);
    const PropertyList* const versionValue = archive->value(versionKey);
    const PropertyList* const top = archive->value(topKey);
    const PropertyList* const objects = archive->value(objectsKey);
    if (!archiver || !versionValue || !top || !objects || !top->dictionary() || !objects->array())
        return false;
    const auto* name = archiver->as<QString>();
    const auto* number = versionValue->as<std::int64_t>();
    objects_ = objects->array();
    if (!name || *name != archiverName || !number || *number != version || objects_->empty())
        return false;
    const auto* null = objects_->front().as<QString>();
    const PropertyList* const root = top->dictionary()->value(rootKey);
    if (!null || *null != nullObject || !root || !root->as<PropertyList::Uid>())
        return false;
    root_ = *root;

    // A dangling reference would otherwise pass for a value of another kind, which some fields allow.
    const auto isSound = [this](const PropertyList& value) {
        const auto* uid = value.as<PropertyList::Uid>();
        return !uid || uid->value < objects_->size();
    };
    // A list shared by many objects is checked once.
    std::set<const PropertyList::Array*> checked;
    const auto isSoundField = [&](const PropertyListDictionary::Entry& entry) {
        const PropertyList::Array* const list = entry.second.array();
        if (list && checked.insert(list).second && !std::all_of(list->begin(), list->end(), isSound))
            return false;
        return isSound(entry.second);
    };
    std::set<const PropertyListDictionary*> checkedObjects;
    return isSound(root_) && std::all_of(objects_->begin(), objects_->end(), [&](const PropertyList& object) {
               const PropertyListDictionary* const fields = object.dictionary();
               if (!fields || !checkedObjects.insert(fields).second)
                   return true;
               return std::all_of(fields->entries().begin(), fields->entries().end(), isSoundField);
           });
}

const PropertyList& KeyedUnarchiver::resolve(const PropertyList& value) const {
    const auto* uid = value.as<PropertyList::Uid>();
    return uid && uid->value < objects_->size() ? (*objects_)[uid->value] : value;
}

bool ArchivedObject::isNull() const {
    return value_ == &archive_->objects_->front();
}

const PropertyList* ArchivedObject::field(const QString& key) const {
    const PropertyListDictionary* const fields = value_->dictionary();
    const PropertyList* const value = fields ? fields->value(key) : nullptr;
    return value ? &archive_->resolve(*value) : nullptr;
}

const PropertyListDictionary* ArchivedObject::classDescription() const {
    const PropertyList* const description = field(classKey);
    return description ? description->dictionary() : nullptr;
}

QString ArchivedObject::className() const {
    const PropertyListDictionary* const description = classDescription();
    const PropertyList* const name = description ? description->value(classNameKey) : nullptr;
    const auto* text = name ? name->as<QString>() : nullptr;
    return text ? plainClassName(*text) : QString();
}

/// Also checks the class chain: the platform has undocumented classes for its containers.
bool ArchivedObject::isKindOf(const QString& platformClass) const {
    if (className() == platformClass)
        return true;
    const PropertyListDictionary* const description = classDescription();
    const PropertyList* const chain = description ? description->value(classChainKey) : nullptr;
    if (!chain || !chain->array())
        return false;
    const PropertyList::Array& names = *chain->array();
    for (std::size_t i = 0; i < std::min(names.size(), mostSuperclasses); ++i) {
        const auto* name = names[i].as<QString>();
        if (name && *name == platformClass)
            return true;
    }
    return false;
}

const ArchiveClasses::Class* ArchivedObject::knownClass() const {
    const auto& classes = archive_->classes_.classes_;
    const auto known = classes.find(className());
    return known == classes.end() ? nullptr : &known->second;
}

bool ArchivedObject::isOfType(std::type_index type) const {
    const ArchiveClasses::Class* const known = knownClass();
    return known && known->type == type;
}

Error ArchivedObject::wrongKind(const QString& wanted) const {
    const QString name = className();
    if (name.isEmpty())
        return fault(ArchiveFault::wrongKind,
                     QCoreApplication::translate("KeyedArchive", "a value is no %1").arg(wanted));
    if (!knownClass() && !isPlatformClass(name))
        return fault(
            ArchiveFault::unknownClass,
            QCoreApplication::translate("KeyedArchive", "the class “%1” is not known").arg(shown(name)));
    return fault(ArchiveFault::wrongKind,
                 QCoreApplication::translate("KeyedArchive", "an object of the class “%1” is no %2")
                     .arg(shown(name), wanted));
}

Result<std::any> ArchivedObject::decoded(std::type_index type) const {
    const ArchiveClasses::Class* const known = knownClass();
    if (!known || known->type != type)
        return wrongKind(QCoreApplication::translate("KeyedArchive", "object of the right class"));
    const auto before = archive_->decoded_.find(value_);
    if (before != archive_->decoded_.end())
        return before->second;
    if (!archive_->inProgress_.insert(value_).second)
        return fault(ArchiveFault::damaged,
                     QCoreApplication::translate("KeyedArchive", "an object is part of itself"));
    Result<std::any> object = known->decode(KeyedDecoder(*this));
    archive_->inProgress_.erase(value_);
    if (object)
        archive_->decoded_.emplace(value_, object.value());
    return object;
}

void ArchivedObject::leaveOut() const {
    ++archive_->leftOut_;
}

Result<bool> ArchivedObject::truth() const {
    if (const auto* truth = value_->as<bool>())
        return *truth;
    if (const auto* number = value_->as<std::int64_t>())
        return *number != 0;
    return wrongKind(QCoreApplication::translate("KeyedArchive", "yes or no"));
}

Result<QString> ArchivedObject::text() const {
    const PropertyList* value = value_;
    if (isKindOf(stringClass))
        value = field(stringKey);
    const auto* text = value && !isNull() ? value->as<QString>() : nullptr;
    if (!text)
        return wrongKind(QCoreApplication::translate("KeyedArchive", "text"));
    return *text;
}

Result<QByteArray> ArchivedObject::data() const {
    const PropertyList* value = value_;
    if (isKindOf(dataClass))
        value = field(dataKey);
    const auto* data = value ? value->as<QByteArray>() : nullptr;
    if (!data)
        return wrongKind(QCoreApplication::translate("KeyedArchive", "data"));
    return *data;
}

Result<qint64> ArchivedObject::number() const {
    const auto* number = value_->as<std::int64_t>();
    if (!number)
        return wrongKind(QCoreApplication::translate("KeyedArchive", "whole number"));
    return qint64(*number);
}

Result<QUuid> ArchivedObject::uuid() const {
    constexpr qsizetype uuidSize = 16;
    const PropertyList* const value = isKindOf(uuidClass) ? field(uuidBytesKey) : nullptr;
    const auto* bytes = value ? value->as<QByteArray>() : nullptr;
    if (!bytes || bytes->size() != uuidSize)
        return wrongKind(QCoreApplication::translate("KeyedArchive", "UUID"));
    return QUuid::fromRfc4122(*bytes);
}

Result<QUrl> ArchivedObject::url() const {
    const Error notUrl = wrongKind(QCoreApplication::translate("KeyedArchive", "URL"));
    std::vector<QUrl> parts;
    for (ArchivedObject part = *this; !part.isNull();) {
        const PropertyList* const relative = part.isKindOf(urlClass) ? part.field(urlRelativeKey) : nullptr;
        const PropertyList* const base = part.field(urlBaseKey);
        const Result<QString> text =
            relative ? ArchivedObject(*archive_, *relative).text() : Result<QString>(notUrl);
        if (!text || parts.size() > mostUrlBases)
            return notUrl;
        parts.emplace_back(text.value(), QUrl::StrictMode);
        if (!base)
            break;
        part = ArchivedObject(*archive_, *base);
    }
    if (parts.empty())
        return notUrl;
    QUrl url = parts.back();
    for (auto part = std::next(parts.rbegin()); part != parts.rend(); ++part)
        url = url.resolved(*part);
    if (!url.isValid())
        return notUrl;
    return url;
}

Result<QColor> ArchivedObject::color() const {
    const Error notColor = wrongKind(QCoreApplication::translate("KeyedArchive", "colour that can be read"));
    const PropertyList* const space = isKindOf(colorClass) ? field(colorSpaceKey) : nullptr;
    const auto* number = space ? space->as<std::int64_t>() : nullptr;
    if (!number || *number < calibratedRgb || *number > deviceWhite)
        return notColor;
    const bool isWhite = *number == calibratedWhite || *number == deviceWhite;
    const PropertyList* values = field(isWhite ? colorWhiteKey : colorRgbKey);
    if (!values)
        values = field(colorComponentsKey);
    const std::optional<std::vector<float>> components = colorComponents(values);
    if (!components)
        return notColor;
    const std::optional<QColor> color = isWhite ? whiteColor(*components) : rgbColor(*components);
    return color ? Result<QColor>(*color) : Result<QColor>(notColor);
}

std::optional<std::vector<ArchivedObject>> ArchivedObject::listField(const QString& key) const {
    const PropertyList* const value = field(key);
    const PropertyList::Array* const array = value ? value->array() : nullptr;
    if (!array || static_cast<qsizetype>(array->size()) > archive_->elementsLeft_)
        return std::nullopt;
    archive_->elementsLeft_ -= static_cast<qsizetype>(array->size());
    std::vector<ArchivedObject> list;
    list.reserve(array->size());
    for (const PropertyList& element : *array)
        list.push_back(ArchivedObject(*archive_, archive_->resolve(element)));
    return list;
}

Result<std::vector<ArchivedObject>> ArchivedObject::elements() const {
    auto list = isKindOf(arrayClass) ? listField(objectsOfContainer) : std::nullopt;
    if (!list)
        return wrongKind(QCoreApplication::translate("KeyedArchive", "list"));
    return std::move(*list);
}

Result<std::vector<std::pair<ArchivedObject, ArchivedObject>>> ArchivedObject::entries() const {
    const bool isDictionary = isKindOf(dictionaryClass);
    const auto keys = isDictionary ? listField(keysOfContainer) : std::nullopt;
    const auto values = isDictionary ? listField(objectsOfContainer) : std::nullopt;
    if (!keys || !values || keys->size() != values->size())
        return wrongKind(QCoreApplication::translate("KeyedArchive", "dictionary"));
    std::vector<std::pair<ArchivedObject, ArchivedObject>> entries;
    entries.reserve(keys->size());
    for (std::size_t i = 0; i < keys->size(); ++i)
        entries.emplace_back((*keys)[i], (*values)[i]);
    return entries;
}

std::optional<ArchivedObject> KeyedDecoder::value(const QString& key) const {
    const PropertyList* const value = object_.field(key);
    if (!value)
        return std::nullopt;
    const ArchivedObject found(*object_.archive_, *value);
    return found.isNull() ? std::nullopt : std::optional(found);
}

Error KeyedDecoder::missing(const QString& key) const {
    return fault(ArchiveFault::missingKey,
                 QCoreApplication::translate("KeyedArchive", "“%1” is missing").arg(key));
}

Error KeyedDecoder::inField(const QString& key, const Error& error) const {
    return {error.code, error.domain, QStringLiteral("“%1”: %2").arg(key, error.userText)};
}

} // namespace korvane
