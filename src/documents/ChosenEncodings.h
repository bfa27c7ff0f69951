#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <QUrl>

namespace korvane {

/// The encodings that the user has chosen for local files, kept in the settings for the last `maximum` of
/// these files. Main thread.
class ChosenEncodings {
public:
    static constexpr qsizetype maximum = 200;

    /// Automatic for a file without a choice of its own.
    static EncodingChoice choiceFor(const QUrl& url);
    /// Automatic forgets what was chosen before.
    static void set(const QUrl& url, EncodingChoice choice);
};

} // namespace korvane
