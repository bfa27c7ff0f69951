#pragma once

#include "foundation/archive/PropertyList.h"

#include <QColor>
#include <QHash>
#include <QStringList>
#include <QUrl>
#include <QUuid>

#include <map>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

namespace korvane {

class KeyedEncoder;

/// Builds a keyed archive: a table of objects that refer to each other by place. Each `add` answers the
/// object's reference, for the object that holds it. An object added again gets the reference of the first
/// time; so do equal texts. For one archive and one thread.
///
/// A class of the program is archived through two functions found by its namespace:
///   QStringList archivedClassChain(const T&);          // its archived name, then those of its superclasses
///   void encode(const T&, KeyedEncoder&);              // its fields
class KeyedArchiver {
public:
    using Reference = PropertyList::Uid;

    KeyedArchiver();
    KeyedArchiver(const KeyedArchiver&) = delete;
    KeyedArchiver& operator=(const KeyedArchiver&) = delete;

    /// The reference of the null object.
    static Reference null() { return {0}; }
    Reference add(const QString& text);
    Reference add(const QByteArray& data);
    Reference add(const QUuid& uuid);
    Reference add(const QUrl& url);
    /// As red, green, blue and, if it is not opaque, alpha. Precondition: valid.
    Reference add(const QColor& color);
    /// An integer as an object of its own.
    Reference addNumber(qint64 number);
    /// A null pointer is the null reference.
    template <typename T>
    Reference add(const std::shared_ptr<T>& object);
    /// An array of `items`, each added by `add(item)` when that is called with one of them.
    template <typename Items, typename Add>
    Reference addArray(const Items& items, const Add& add);
    /// As `addArray`, for a list that several objects may share.
    template <typename Items, typename Add>
    Reference addSharedArray(const std::shared_ptr<Items>& items, const Add& add);
    /// A dictionary of the pairs of a map, each value added by `add(value)`.
    template <typename Map, typename Add>
    Reference addDictionary(const Map& map, const Add& add);

    /// The archive with that root. Once; nothing can be added after it.
    QByteArray archivedData(Reference root);

private:
    friend class KeyedEncoder;

    Reference append(PropertyList object);
    /// A place in the table for an object whose parts come first.
    Reference reserve() { return append({}); }
    void fill(Reference place, std::vector<PropertyListDictionary::Entry> fields,
              const QStringList& classChain);
    void fillArray(Reference place, PropertyList::Array elements);
    void fillDictionary(Reference place, PropertyList::Array keys, PropertyList::Array values);
    Reference classReference(const QStringList& classChain);

    PropertyList::Array objects_;
    QHash<QString, Reference> texts_;
    QHash<QString, Reference> classes_;
    /// Owning pointers, so that no later object gets the address of an earlier one.
    std::map<std::shared_ptr<const void>, Reference> added_;
};

/// Takes the fields of one object.
class KeyedEncoder {
public:
    KeyedArchiver& archiver() { return archiver_; }

    /// Boolean, integer, text, data, UUID, URL, colour or object.
    template <typename T>
    void encode(const QString& key, const T& value) {
        if constexpr (std::is_same_v<T, bool>)
            fields_.emplace_back(key, PropertyList(value));
        else if constexpr (std::is_integral_v<T>)
            fields_.emplace_back(key, PropertyList(std::int64_t(value)));
        else
            encodeReference(key, archiver_.add(value));
    }
    /// The null reference when absent.
    template <typename T>
    void encode(const QString& key, const std::optional<T>& value) {
        encodeReference(key, value ? archiver_.add(*value) : KeyedArchiver::null());
    }
    void encodeReference(const QString& key, KeyedArchiver::Reference reference) {
        fields_.emplace_back(key, PropertyList(reference));
    }

private:
    friend class KeyedArchiver;
    explicit KeyedEncoder(KeyedArchiver& archiver) : archiver_(archiver) {}

    KeyedArchiver& archiver_;
    std::vector<PropertyListDictionary::Entry> fields_;
};

template <typename T>
KeyedArchiver::Reference KeyedArchiver::add(const std::shared_ptr<T>& object) {
    if (!object)
        return null();
    const auto known = added_.find(object);
    if (known != added_.end())
        return known->second;
    const Reference place = reserve();
    added_.emplace(object, place);
    KeyedEncoder encoder(*this);
    encode(*object, encoder);
    fill(place, std::move(encoder.fields_), archivedClassChain(*object));
    return place;
}

template <typename Items, typename Add>
KeyedArchiver::Reference KeyedArchiver::addArray(const Items& items, const Add& add) {
    const Reference place = reserve();
    PropertyList::Array elements;
    for (const auto& item : items)
        elements.emplace_back(add(item));
    fillArray(place, std::move(elements));
    return place;
}

template <typename Items, typename Add>
KeyedArchiver::Reference KeyedArchiver::addSharedArray(const std::shared_ptr<Items>& items, const Add& add) {
    const auto known = added_.find(items);
    if (known != added_.end())
        return known->second;
    const Reference place = addArray(*items, add);
    added_.emplace(items, place);
    return place;
}

template <typename Map, typename Add>
KeyedArchiver::Reference KeyedArchiver::addDictionary(const Map& map, const Add& add) {
    const Reference place = reserve();
    PropertyList::Array keys;
    PropertyList::Array values;
    for (const auto& [key, value] : map) {
        keys.emplace_back(this->add(key));
        values.emplace_back(add(value));
    }
    fillDictionary(place, std::move(keys), std::move(values));
    return place;
}

} // namespace korvane
