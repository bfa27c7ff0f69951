#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace korvane {

/// The documents of the last time, in the order of their tabs, as kept in the settings.
struct Session {
    struct Entry {
        /// Absolute address.
        QString url;
        /// One-based line at the top of the view.
        qint64 topLine = 1;
        /// The view stood at the end of the file.
        bool isAtEnd = false;

        friend bool operator==(const Entry&, const Entry&) = default;
    };
    std::vector<Entry> entries;
    /// The address of the one in front.
    QString current;

    friend bool operator==(const Session&, const Session&) = default;

    /// What does not make sense is left out.
    static Session load();
    void save() const;
};

} // namespace korvane
