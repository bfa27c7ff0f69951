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

/// Builds a keyed archive: a table of objects that refer to each other by index. Each `add` returns the
/// object's reference, for the object that holds it. Adding an object again returns its first reference; so
/// do equal texts. For one archive and one thread.
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

    /// The reference to the null object.
    static Reference null() { return {0}; }
    Reference add(const QString& text);
    Reference add(const QByteArray& data);
    Reference add(const QUuid& uuid);
    Reference add(const QUrl& url);
    /// Stored as red, green, blue and, if it is not opaque, alpha. Precondition: valid.
    Reference add(const QColor& color);
    /// An integer as an object of its own.
    Reference addNumber(qint64 number);
    /// A null pointer gives the null reference.
    template <typename T>
    Reference add(const std::shared_ptr<T>& object);
    /// An array of `items`; `add(item)` must add the item and return its reference.
    template <typename Items, typename Add>
    Reference addArray(const Items& items, const Add& add);
    /// As `addArray`, for a list that several objects may share.
    template <typename Items, typename Add>
    Reference addSharedArray(const std::shared_ptr<Items>& items, const Add& add);
    /// A dictionary from a map; `add(value)` must add the value and return its reference.
    template <typename Map, typename Add>
    Reference addDictionary(const Map& map, const Add& add);

    /// The archive with this root. Call once; nothing can be added afterwards.
    QByteArray archivedData(Reference root);

private:
    friend class KeyedEncoder;

    Reference append(PropertyList object);
    /// Reserves a place in the table for an object whose parts are added first.
    Reference reserve() { return append({}); }
    void fill(Reference place, std::vector<PropertyListDictionary::Entry> fields,
              const QStringList& classChain);
    void fillArray(Reference place, PropertyList::Array elements);
    void fillDictionary(Reference place, PropertyList::Array keys, PropertyList::Array values);
    Reference classReference(const QStringList& classChain);

    PropertyList::Array objects_;
    QHash<QString, Reference> texts_;
    QHash<QString, Reference> classes_;
    /// Owns the objects, so that no later object gets the same address.
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
