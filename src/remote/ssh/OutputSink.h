#pragma once

#include <QByteArrayView>

#include <functional>

namespace korvane {

/// Receives a command's standard output as it arrives, on the thread of the connection; must not wait.
/// Returns false to stop the command. Not called any more once the command's outcome is set.
using OutputSink = std::function<bool(QByteArrayView bytes)>;

} // namespace korvane
