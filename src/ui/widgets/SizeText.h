#pragma once

#include <QLocale>
#include <QString>

#include <cstdint>

namespace korvane {

/// A size in bytes as the user reads it everywhere in the program, for example "14.6 MiB".
inline QString sizeText(std::uint64_t bytes) {
    const auto size = static_cast<qint64>(bytes);
    return QLocale().formattedDataSize(size, size < 1024 ? 0 : 1, QLocale::DataSizeIecFormat);
}

} // namespace korvane
