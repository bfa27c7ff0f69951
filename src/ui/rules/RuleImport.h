#pragma once

#include "foundation/notices/WindowId.h"

#include <QString>

#include <functional>

namespace korvane {

class AlertPresenter;

/// Adds the rules of a file to the shared list. The user is asked before rules are added that the list has
/// already, and told what of the file could not be added. `added` is called when the list has grown;
/// `window`: as for AlertPresenter::present. Main thread.
void importRules(const QString& path, AlertPresenter& alerts, WindowId window, std::function<void()> added);

} // namespace korvane
