#pragma once

#include <QString>

namespace korvane {

/// The directory in which the program keeps its stores: its own in the user's data directory. It may not be
/// there yet.
QString storeDirectory();

} // namespace korvane
