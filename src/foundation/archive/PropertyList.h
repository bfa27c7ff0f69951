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

/// One value of a binary property list, the container format of the archives. Immutable; copies share arrays
/// and dictionaries, so that repeated values take no extra memory.
class PropertyList {
public:
    /// Reference to an object of a keyed archive by its index.
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

    /// Maximum nesting of containers, including the outermost; deeper data is refused.
    static constexpr int mostLevels = 512;

    /// The null value.
    PropertyList() = default;
    explicit PropertyList(bool value) : value_(value) {}
    explicit PropertyList(std::int64_t value) : value_(value) {}
    /// Stored as a signed integer if it fits.
    explicit PropertyList(std::uint64_t value);
    explicit PropertyList(double value) : value_(value) {}
    explicit PropertyList(Date value) : value_(value) {}
    explicit PropertyList(QByteArray value) : value_(std::move(value)) {}
    explicit PropertyList(QString value) : value_(std::move(value)) {}
    explicit PropertyList(Uid value) : value_(value) {}
    explicit PropertyList(Array value);
    explicit PropertyList(Dictionary value);
    /// Deleted, as a pointer or literal would otherwise convert to a boolean.
    template <typename T>
    explicit PropertyList(const T*) = delete;

    bool isNull() const { return value_.index() == 0; }
    bool isContainer() const { return array() || dictionary(); }

    /// The value if it is of that type, else null: bool, std::int64_t, std::uint64_t (only above the signed
    /// range), double, Date, QByteArray, QString, Uid.
    template <typename T>
    const T* as() const {
        return std::get_if<T>(&value_);
    }
    const Array* array() const;
    const Dictionary* dictionary() const;

    /// Reads the binary form. Fails on any deviation; time and memory are bounded by the size of the input.
    /// Error domain: "PropertyList".
    static Result<PropertyList> fromBinary(const QByteArray& bytes);
    QByteArray toBinary() const;

private:
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, Date, QByteArray, QString, Uid,
                 std::shared_ptr<const Array>, std::shared_ptr<const Dictionary>>
        value_;
};

/// Values by name, sorted by name.
class PropertyListDictionary {
public:
    using Entry = std::pair<QString, PropertyList>;

    PropertyListDictionary() = default;
    explicit PropertyListDictionary(std::vector<Entry> entries);

    /// Null if the name is absent.
    const PropertyList* value(const QString& key) const;
    const std::vector<Entry>& entries() const { return entries_; }
    bool hasDuplicateKeys() const;

private:
    std::vector<Entry> entries_;
};

} // namespace korvane
