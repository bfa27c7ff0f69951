#pragma once

#include "foundation/archive/PropertyList.h"

#include <QByteArrayView>
#include <QColor>
#include <QUrl>
#include <QUuid>

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <typeindex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace korvane {

class ArchivedObject;
class KeyedDecoder;
class KeyedUnarchiver;

/// What is wrong with an archive; the code of errors of the domain "KeyedArchive".
enum class ArchiveFault { damaged = 1, unknownClass, wrongKind, missingKey };

/// The classes of the program that an archive may hold, and how each is read.
class ArchiveClasses {
public:
    /// Objects of the archived class `name` (with module, "Korvane.X"; the mangled form is read as well) are
    /// made by `decode` and asked for as T, the class itself or one it derives from.
    template <typename T>
    void add(const QString& name, Result<std::shared_ptr<T>> (*decode)(const KeyedDecoder&));

private:
    friend class ArchivedObject;
    struct Class {
        std::type_index type;
        std::function<Result<std::any>(const KeyedDecoder&)> decode;
    };
    std::map<QString, Class> classes_;
};

/// An object of an archive, not decoded yet: it is asked for as what it should be, and answers with an error
/// when it is something else. Lives no longer than its unarchiver.
class ArchivedObject {
public:
    bool isNull() const;
    Result<QString> text() const;
    Result<QByteArray> data() const;
    Result<qint64> number() const;
    Result<QUuid> uuid() const;
    Result<QUrl> url() const;
    Result<QColor> color() const;
    Result<std::vector<ArchivedObject>> elements() const;
    /// Keys and values of a dictionary.
    Result<std::vector<std::pair<ArchivedObject, ArchivedObject>>> entries() const;

    /// Whether its class is one that is asked for as T; it may still fail to decode.
    template <typename T>
    bool is() const {
        return isOfType(typeid(T));
    }
    /// The object as T; asked for twice, from wherever it is referred to, it is the same one.
    template <typename T>
    Result<std::shared_ptr<T>> object() const;

    /// The same for one object of the archive, from wherever it is referred to.
    const void* identity() const { return value_; }

    /// With the module for classes of the program, in the plain form; empty for what has no class.
    QString className() const;

private:
    friend class KeyedDecoder;
    friend class KeyedUnarchiver;
    ArchivedObject(const KeyedUnarchiver& archive, const PropertyList& value)
        : archive_(&archive), value_(&value) {}

    bool isKindOf(const QString& platformClass) const;
    const PropertyListDictionary* classDescription() const;
    const ArchiveClasses::Class* knownClass() const;
    bool isOfType(std::type_index type) const;
    Result<std::any> decoded(std::type_index type) const;
    /// The field's value, with a reference followed; null when there is none.
    const PropertyList* field(const QString& key) const;
    std::optional<std::vector<ArchivedObject>> listField(const QString& key) const;
    Error wrongKind(const QString& wanted) const;

    const KeyedUnarchiver* archive_;
    const PropertyList* value_;
};

/// The fields of one object that is being decoded.
class KeyedDecoder {
public:
    /// False when absent.
    Result<bool> decodeBool(const QString& key) const;
    /// Required.
    Result<qint64> decodeInteger(const QString& key) const;
    Result<QString> decodeText(const QString& key) const;
    Result<QColor> decodeColor(const QString& key) const;
    template <typename T>
    Result<std::shared_ptr<T>> decodeObject(const QString& key) const;
    /// What may be absent or something else: nothing when it is absent or the null object.
    std::optional<ArchivedObject> value(const QString& key) const;

private:
    friend class ArchivedObject;
    explicit KeyedDecoder(const ArchivedObject& object) : object_(object) {}
    Error missing(const QString& key) const;
    /// Says in which field the fault is.
    Error inField(const QString& key, const Error& error) const;
    template <typename T>
    Result<T> require(const QString& key, Result<T> (ArchivedObject::*read)() const) const;

    ArchivedObject object_;
};

/// Reads a keyed archive. An object is decoded when it is asked for; the work is bounded by the size of the
/// archive, whatever it holds. For one thread.
class KeyedUnarchiver {
public:
    /// `classes` must outlive it.
    static Result<std::unique_ptr<KeyedUnarchiver>> open(const QByteArray& archive,
                                                         const ArchiveClasses& classes);
    KeyedUnarchiver(const KeyedUnarchiver&) = delete;
    KeyedUnarchiver& operator=(const KeyedUnarchiver&) = delete;

    ArchivedObject root() const { return ArchivedObject(*this, resolve(root_)); }

private:
    friend class ArchivedObject;
    KeyedUnarchiver(PropertyList archive, const ArchiveClasses& classes, qsizetype size)
        : archive_(std::move(archive)), classes_(classes), elementsLeft_(size * mostReadings) {}
    bool readTables();
    /// Follows a reference; one that leads nowhere stays a reference, which is no object of any kind.
    const PropertyList& resolve(const PropertyList& value) const;

    /// How often an archive may be read through.
    static constexpr qsizetype mostReadings = 8;

    const PropertyList archive_;
    const ArchiveClasses& classes_;
    const PropertyList::Array* objects_ = nullptr;
    PropertyList root_;
    /// Containers that stand in many places must not multiply: what is handed out is bounded.
    mutable qsizetype elementsLeft_;
    mutable std::unordered_map<const PropertyList*, std::any> decoded_;
    mutable std::set<const PropertyList*> inProgress_;
};

template <typename T>
void ArchiveClasses::add(const QString& name, Result<std::shared_ptr<T>> (*decode)(const KeyedDecoder&)) {
    classes_.insert_or_assign(name,
                              Class{typeid(T), [decode](const KeyedDecoder& decoder) -> Result<std::any> {
                                        Result<std::shared_ptr<T>> object = decode(decoder);
                                        if (!object)
                                            return object.error();
                                        return std::any(std::move(object).value());
                                    }});
}

template <typename T>
Result<std::shared_ptr<T>> ArchivedObject::object() const {
    Result<std::any> object = decoded(typeid(T));
    if (!object)
        return object.error();
    return std::any_cast<std::shared_ptr<T>>(object.value());
}

template <typename T>
Result<std::shared_ptr<T>> KeyedDecoder::decodeObject(const QString& key) const {
    return require(key, &ArchivedObject::object<T>);
}

template <typename T>
Result<T> KeyedDecoder::require(const QString& key, Result<T> (ArchivedObject::*read)() const) const {
    const std::optional<ArchivedObject> found = value(key);
    if (!found)
        return missing(key);
    Result<T> result = ((*found).*read)();
    if (!result)
        return inField(key, result.error());
    return result;
}

} // namespace korvane
