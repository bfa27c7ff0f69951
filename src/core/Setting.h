#pragma once

#include <QString>

#include <optional>
#include <utility>

namespace korvane {

/// One setting of the user.
template <typename T>
struct Setting {
    /// In the settings file.
    QString key;
    /// Used without a stored value.
    T defaultValue;
    /// Smallest and largest value used; absent: unlimited.
    std::optional<std::pair<T, T>> limits = {};

    /// Converts to the key, so that a setting can be used where a key is expected.
    operator const QString&() const { return key; }
};

} // namespace korvane
