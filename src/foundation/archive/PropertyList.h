#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

namespace korvane {

class PropertyListDictionary;

/// One value of a binary property list, the container format of the archives. An immutable value; copies
/// share arrays and dictionaries, so that a value that is used many times costs once.
class PropertyList {
public:
    /// Refers to an object of a keyed archive by its place.
    struct Uid {
        std::uint64_t value = 0;
        friend bool operator==(const Uid&, const Uid&) = default;
    };
    struct Date {
        /// Since the start of 2001, UTC.
        double seconds = 0;
        friend bool operator==(const Date&, const Date&) = default;
    };
    using Array = std::vector<PropertyList>;
    using Dictionary = PropertyListDictionary;

    /// The most containers inside each other, the outermost counted; deeper data is refused.
    static constexpr int mostLevels = 512;

    /// The null value.
    PropertyList() = default;
    explicit PropertyList(bool value) : value_(value) {}
    explicit PropertyList(std::int64_t value) : value_(value) {}
    /// Kept as a signed integer if it fits one.
    explicit PropertyList(std::uint64_t value);
    explicit PropertyList(double value) : value_(value) {}
    explicit PropertyList(Date value) : value_(value) {}
    explicit PropertyList(QByteArray value) : value_(std::move(value)) {}
    explicit PropertyList(QString value) : value_(std::move(value)) {}
    explicit PropertyList(Uid value) : value_(value) {}
    explicit PropertyList(Array value);
    explicit PropertyList(Dictionary value);
    /// Otherwise a pointer or a literal would pass for a boolean.
    template <typename T>
    explicit PropertyList(const T*) = delete;

    bool isNull() const { return value_.index() == 0; }
    bool isContainer() const { return array() || dictionary(); }

    /// The value if it is of that type, else null: bool, std::int64_t, std::uint64_t (only above what a
    /// signed integer holds), double, Date, QByteArray, QString, Uid.
    template <typename T>
    const T* as() const {
        return std::get_if<T>(&value_);
    }
    const Array* array() const;
    const Dictionary* dictionary() const;

    /// Reads the binary form. Fails on whatever is not exactly that; time and memory are bounded by the size
    /// of the input. Error domain: "PropertyList".
    static Result<PropertyList> fromBinary(const QByteArray& bytes);
    QByteArray toBinary() const;

private:
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, Date, QByteArray, QString, Uid,
                 std::shared_ptr<const Array>, std::shared_ptr<const Dictionary>>
        value_;
};

/// Values by name, sorted by it.
class PropertyListDictionary {
public:
    using Entry = std::pair<QString, PropertyList>;

    PropertyListDictionary() = default;
    explicit PropertyListDictionary(std::vector<Entry> entries);

    /// Null when the name is absent.
    const PropertyList* value(const QString& key) const;
    const std::vector<Entry>& entries() const { return entries_; }
    bool hasDuplicateKeys() const;

private:
    std::vector<Entry> entries_;
};

} // namespace korvane
