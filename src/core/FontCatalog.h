#pragma once

#include <QFont>
#include <QString>

namespace korvane {

/// The installed fonts. Main thread.
class FontCatalog {
public:
    virtual ~FontCatalog() = default;
    /// Whether a family of that very name is installed; a substitute does not count.
    virtual bool isInstalled(const QString& family) const = 0;
    /// The user's default text font, always of fixed pitch; its size does not matter.
    virtual QFont userFont() const = 0;
    virtual QFont systemFont() const = 0;
};

} // namespace korvane
