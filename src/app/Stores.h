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
/// A file that does not decode is never changed without the question. False: quit. Main thread, once,
/// before any document opens. `defaults` must outlive the stores.
bool loadStores(const QString& directory, UserDefaults& defaults, const StoreFaultQuestion& ask);

/// Asks about settings that cannot be read or have an invalid font. If they are set aside, a copy of the file
/// stays, and defaults replace what was invalid. False: quit. As above, but earlier.
bool checkSettings(Preferences& preferences, const StoreFaultQuestion& ask);

} // namespace korvane
