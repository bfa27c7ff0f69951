#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace korvane {

/// The windows of the last time and their documents, in the order of their tabs, as kept in the settings.
struct Session {
    struct Entry {
        /// Absolute address.
        QString url;
        /// One-based line at the top of the view; 1 for a view at the end.
        qint64 topLine = 1;
        /// The view stood at the end of the file.
        bool isAtEnd = false;

        friend bool operator==(const Entry&, const Entry&) = default;
    };
    struct Window {
        std::vector<Entry> entries;
        /// The address of the one in front.
        QString current;
        /// As QWidget::saveGeometry gives it; empty when not known.
        QByteArray geometry;

        friend bool operator==(const Window&, const Window&) = default;
    };
    /// The one last used last.
    std::vector<Window> windows;

    friend bool operator==(const Session&, const Session&) = default;

    /// What does not make sense is left out.
    static Session load();
    void save() const;
};

} // namespace korvane
