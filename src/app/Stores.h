#pragma once

#include "foundation/Result.h"

#include <QString>

#include <functional>

namespace korvane {

class Preferences;
class UserDefaults;

/// Asks what to do about a store whose file cannot be read: true to set it aside and start fresh, false to
/// quit.
using StoreFaultQuestion = std::function<bool(const Error& fault)>;

/// Loads all stores from the directory, and what they keep in the settings, and makes them the program's own.
/// A file that does not decode is never touched unasked. False: the program is to quit. Main thread, once,
/// before any document opens. `defaults` must outlive the stores.
bool loadStores(const QString& directory, UserDefaults& defaults, const StoreFaultQuestion& ask);

/// Asks about settings that cannot be read, or hold an invalid font: set aside, the content is kept in a file
/// beside it, and defaults replace the faults. False: the program is to quit. As above, but earlier.
bool checkSettings(Preferences& preferences, const StoreFaultQuestion& ask);

} // namespace korvane
