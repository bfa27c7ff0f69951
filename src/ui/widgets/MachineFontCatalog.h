#pragma once

#include "core/FontCatalog.h"

namespace korvane {

/// The fonts installed on the desktop.
class MachineFontCatalog : public FontCatalog {
public:
    bool isInstalled(const QString& family) const override;
    QFont userFont() const override;
    QFont systemFont() const override;
};

} // namespace korvane
