#pragma once

#include <QStringView>

#include <span>

namespace korvane {

/// A character beyond ASCII that equals ASCII letters when case is ignored.
struct AsciiFolding {
    char16_t character;
    /// What it equals, in lower case; not only ASCII for some.
    QStringView folded;

    /// All of them.
    static std::span<const AsciiFolding> all();
    static bool contains(char16_t character);
};

} // namespace korvane
