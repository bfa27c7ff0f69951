#pragma once

#include "core/reader/LineEnd.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/Mutex.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

/// Decodes the bytes of one file with the encoding that the user has chosen, or with the one detected from
/// the first bytes decoded. Any thread.
class FileTextDecoder {
public:
    EncodingChoice choice() const;
    /// The byte-order mark last seen by `lineEndFor` sets the byte order of the choice.
    void setChoice(EncodingChoice choice);
    /// The content of the file was replaced: its encoding is detected again.
    void forgetDetection();
    /// The line terminator by the choice and the start of the file: a byte-order mark or the positions of NUL
    /// bytes decide the encoding, and the byte order of a choice without one.
    LineEnd lineEndFor(QByteArrayView fileStart);
    /// The line terminator in the encoding in effect.
    LineEnd lineEnd() const { return LineEnd::of(fileEncoding()); }
    /// The encoding in effect; `encoding::unknown` while none is chosen and none detected.
    StringEncoding fileEncoding() const;

    /// The encoding of `data`, which the log names; UTF-8 when it cannot be detected.
    static StringEncoding detectEncoding(QByteArrayView data);

    /// Consecutive bytes of the file.
    struct Part {
        std::uint64_t offset = 0;
        QByteArrayView bytes;
        /// The end may lie inside a character, which is then left out.
        bool isCut = false;
    };
    struct Text {
        QString text;
        /// Number of the part's bytes that were decoded.
        std::uint64_t usedBytes = 0;
    };

    /// The text of every part; empty, with the reason in the log, when some part does not decode. All parts
    /// have the same encoding.
    std::optional<std::vector<Text>> decode(std::span<const Part> parts);
    /// As above for one part, without logging.
    std::optional<Text> decodeSilently(const Part& part);
    /// The text of one line, or of its beginning; never fails. Without logging.
    struct Line {
        Text text;
        /// U+FFFD replaces invalid bytes.
        bool isInvalid = false;
    };
    Line decodeLine(const Part& part);

private:
    struct Way {
        StringEncoding encoding = encoding::unknown;
        EncodingChoice::Kind kind = EncodingChoice::Kind::Automatic;
    };
    /// How to decode; detects the encoding if it is unknown and there are bytes.
    Way wayFor(std::span<const Part> parts);
    static std::optional<std::vector<Text>> decodeAll(std::span<const Part> parts, Way way);

    mutable Mutex mutex_;
    EncodingChoice choice_ GUARDED_BY(mutex_);
    StringEncoding chosen_ GUARDED_BY(mutex_) = encoding::unknown;
    QByteArray mark_ GUARDED_BY(mutex_); // the first bytes of the file, as many as the longest mark has
    StringEncoding detected_ GUARDED_BY(mutex_) = encoding::unknown;
};

} // namespace korvane
