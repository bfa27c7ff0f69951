#pragma once

#include <QByteArrayView>

#include <functional>

namespace korvane {

/// Takes what a command writes to its standard output while it arrives, on the thread of the connection; does
/// not wait. False when it wants no more: the command is stopped. Not called any more once the command's
/// outcome is known.
using OutputSink = std::function<bool(QByteArrayView bytes)>;

} // namespace korvane
