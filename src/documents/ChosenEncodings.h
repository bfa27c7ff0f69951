#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <QUrl>

namespace korvane {

/// The encodings that the user has chosen for local files, stored in the settings for the `maximum` latest of
/// these files. Main thread.
class ChosenEncodings {
public:
    static constexpr qsizetype maximum = 200;

    /// Automatic for a file without a stored choice.
    static EncodingChoice choiceFor(const QUrl& url);
    /// Automatic removes the stored choice.
    static void set(const QUrl& url, EncodingChoice choice);
};

} // namespace korvane
