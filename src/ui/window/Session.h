#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace korvane {

/// The windows and their documents at the last end of the program, in tab order, as stored in the settings.
struct Session {
    struct Entry {
        /// Absolute URL.
        QString url;
        /// One-based line at the top of the view; 1 for a view at the end.
        qint64 topLine = 1;
        /// The view was at the end of the file.
        bool isAtEnd = false;

        friend bool operator==(const Entry&, const Entry&) = default;
    };
    struct Window {
        std::vector<Entry> entries;
        /// URL of the tab in front.
        QString current;
        /// From QWidget::saveGeometry; empty if unknown.
        QByteArray geometry;

        friend bool operator==(const Window&, const Window&) = default;
    };
    /// The last used window comes last.
    std::vector<Window> windows;

    friend bool operator==(const Session&, const Session&) = default;

    /// Skips invalid entries.
    static Session load();
    void save() const;
};

} // namespace korvane
