#pragma once

#include <QString>

namespace korvane {

/// The directory of the program's stores, within the user's data directory. It may not exist yet.
QString storeDirectory();

} // namespace korvane
