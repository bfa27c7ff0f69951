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
#include <type_traits>
#include <typeindex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace korvane {

class ArchivedObject;
class KeyedDecoder;
class KeyedUnarchiver;

/// Error codes of the domain "KeyedArchive".
enum class ArchiveFault {
    damaged = 1,
    unknownClass,
    wrongKind,
    missingKey,
    /// The object cannot be made, although the archive as a whole is sound.
    unusable
};

/// The program's classes that an archive may hold, with their decoding functions.
class ArchiveClasses {
public:
    /// `name`: with module, "Korvane.X"; the mangled form is read as well. `decode`: creates the object from
    /// a `const KeyedDecoder&` and returns Result<std::shared_ptr<T>>, where T is the class or a base of it.
    template <typename T, typename Decode>
    void add(const QString& name, Decode decode);

private:
    friend class ArchivedObject;
    struct Class {
        std::type_index type;
        std::function<Result<std::any>(const KeyedDecoder&)> decode;
    };
    std::map<QString, Class> classes_;
};

/// An object of an archive, not decoded yet. Each getter fails when the object is of another kind. Must not
/// outlive its unarchiver.
class ArchivedObject {
public:
    bool isNull() const;
    Result<bool> truth() const;
    Result<QString> text() const;
    Result<QByteArray> data() const;
    Result<qint64> number() const;
    Result<QUuid> uuid() const;
    Result<QUrl> url() const;
    Result<QColor> color() const;
    Result<std::vector<ArchivedObject>> elements() const;
    /// Keys and values of a dictionary.
    Result<std::vector<std::pair<ArchivedObject, ArchivedObject>>> entries() const;

    /// By type: bool, qint64, QString, QByteArray, QUuid, QUrl, QColor, or std::shared_ptr<T> for
    /// `object<T>`.
    template <typename V>
    Result<V> as() const;

    /// Whether its class was registered as T; it may still fail to decode.
    template <typename T>
    bool is() const {
        return isOfType(typeid(T));
    }
    /// The object as T: the same object for all references to it.
    template <typename T>
    Result<std::shared_ptr<T>> object() const;
    /// A T created from this list by `make()`: the same object for all references to it. All calls for one
    /// list must use the same T.
    template <typename T, typename Make>
    std::shared_ptr<T> sharedList(const Make& make) const;

    /// Counts it as left out.
    void leaveOut() const;

    /// With the module for the program's classes, in the plain form; empty for values without a class.
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
    /// The field's value, with a reference resolved; null if it is absent.
    const PropertyList* field(const QString& key) const;
    std::optional<std::vector<ArchivedObject>> listField(const QString& key) const;
    Error wrongKind(const QString& wanted) const;

    const KeyedUnarchiver* archive_;
    const PropertyList* value_;
};

/// The fields of one object that is being decoded.
class KeyedDecoder {
public:
    /// The field as `ArchivedObject::as`. Fails, naming the field, when it is absent or of another kind; but
    /// an absent boolean is false.
    template <typename V>
    Result<V> decode(const QString& key) const;
    /// Nullopt if it is absent or of another kind; the latter counts as left out.
    template <typename V>
    std::optional<V> decodeOptional(const QString& key) const;
    /// Nullopt when it is absent or the null object.
    std::optional<ArchivedObject> value(const QString& key) const;

private:
    friend class ArchivedObject;
    explicit KeyedDecoder(const ArchivedObject& object) : object_(object) {}
    Error missing(const QString& key) const;
    /// Adds the field's name to the error.
    Error inField(const QString& key, const Error& error) const;

    ArchivedObject object_;
};

/// Reads a keyed archive. An object is decoded on request; the work is bounded by the size of the archive,
/// whatever it holds. For one thread.
class KeyedUnarchiver {
public:
    /// `classes` must outlive it.
    static Result<std::unique_ptr<KeyedUnarchiver>> open(const QByteArray& archive,
                                                         const ArchiveClasses& classes);
    KeyedUnarchiver(const KeyedUnarchiver&) = delete;
    KeyedUnarchiver& operator=(const KeyedUnarchiver&) = delete;

    ArchivedObject root() const { return {*this, resolve(root_)}; }
    /// How many objects have been left out so far.
    int leftOut() const { return leftOut_; }

private:
    friend class ArchivedObject;
    KeyedUnarchiver(PropertyList archive, const ArchiveClasses& classes, qsizetype size)
        : archive_(std::move(archive)), classes_(classes), elementsLeft_(size * mostReadings) {}
    bool readTables();
    /// Resolves a reference; a dangling one is returned unchanged and is no object of any kind.
    const PropertyList& resolve(const PropertyList& value) const;

    /// Limits how often an archive may be read through.
    static constexpr qsizetype mostReadings = 8;

    const PropertyList archive_;
    const ArchiveClasses& classes_;
    const PropertyList::Array* objects_ = nullptr;
    PropertyList root_;
    /// Limits the elements returned, so that containers with many references cannot multiply them.
    mutable qsizetype elementsLeft_;
    mutable int leftOut_ = 0;
    mutable std::unordered_map<const PropertyList*, std::any> decoded_;
    mutable std::unordered_map<const PropertyList*, std::any> sharedLists_;
    mutable std::set<const PropertyList*> inProgress_;
};

template <typename T, typename Decode>
void ArchiveClasses::add(const QString& name, Decode decode) {
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

template <typename T, typename Make>
std::shared_ptr<T> ArchivedObject::sharedList(const Make& make) const {
    const auto known = archive_->sharedLists_.find(value_);
    if (known != archive_->sharedLists_.end())
        return std::any_cast<std::shared_ptr<T>>(known->second);
    std::shared_ptr<T> list = make();
    archive_->sharedLists_.emplace(value_, list);
    return list;
}

template <typename V>
Result<V> ArchivedObject::as() const {
    if constexpr (std::is_same_v<V, bool>)
        return truth();
    else if constexpr (std::is_same_v<V, qint64>)
        return number();
    else if constexpr (std::is_same_v<V, QString>)
        return text();
    else if constexpr (std::is_same_v<V, QByteArray>)
        return data();
    else if constexpr (std::is_same_v<V, QUuid>)
        return uuid();
    else if constexpr (std::is_same_v<V, QUrl>)
        return url();
    else if constexpr (std::is_same_v<V, QColor>)
        return color();
    else
        return object<typename V::element_type>();
}

template <typename V>
Result<V> KeyedDecoder::decode(const QString& key) const {
    const std::optional<ArchivedObject> found = value(key);
    if (!found && std::is_same_v<V, bool>)
        return V();
    if (!found)
        return missing(key);
    Result<V> result = found->as<V>();
    if (!result)
        return inField(key, result.error());
    return result;
}

template <typename V>
std::optional<V> KeyedDecoder::decodeOptional(const QString& key) const {
    const std::optional<ArchivedObject> found = value(key);
    if (!found)
        return std::nullopt;
    Result<V> result = found->as<V>();
    if (result)
        return std::move(result).value();
    found->leaveOut();
    return std::nullopt;
}

} // namespace korvane
