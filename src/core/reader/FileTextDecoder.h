#pragma once

#include "core/reader/LineEnd.h"
#include "core/reader/LogFileReaderProtocol.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

/// Turns the bytes of one file into text: with the encoding that the user has chosen, or with the one
/// detected from the first bytes that come by. Any thread.
class FileTextDecoder {
public:
    EncodingChoice choice() const;
    /// The byte-order mark last seen by `lineEndFor` holds for the whole file.
    void setChoice(EncodingChoice choice);
    /// The content of the file was replaced: its encoding is detected again.
    void forgetDetection();
    /// What ends the lines, as far as the choice and the start of the file tell: a mark or the places of NUL
    /// bytes there tell the encoding for good, and the byte order of a choice without one.
    LineEnd lineEndFor(QByteArrayView fileStart);
    /// What ends the lines in the encoding in effect.
    LineEnd lineEnd() const { return LineEnd::of(fileEncoding()); }
    /// The encoding in effect; `encoding::unknown` while none is chosen and none detected.
    StringEncoding fileEncoding() const;

    /// The encoding of `data`, said in the log; UTF-8 when it cannot be told.
    static StringEncoding detectEncoding(QByteArrayView data);

    /// Some bytes of the file, with the offset at which they stand there.
    struct Part {
        std::uint64_t offset = 0;
        QByteArrayView bytes;
        /// The end was cut off at a place that may lie inside a character, which is then left out.
        bool isCut = false;
    };
    struct Text {
        QString text;
        /// How many of the part's bytes the text stands for.
        std::uint64_t usedBytes = 0;
    };

    /// The text of every part, or nothing, with the reason in the log, when some part is no text: all parts
    /// have the same encoding.
    std::optional<std::vector<Text>> decode(std::span<const Part> parts);
    /// As above for one part, without the log.
    std::optional<Text> decodeSilently(const Part& part);
    /// The text of one line, or the beginning of one, in any case. Without the log.
    struct Line {
        Text text;
        /// What is not valid has become U+FFFD.
        bool isInvalid = false;
    };
    Line decodeLine(const Part& part);

private:
    struct Way {
        StringEncoding encoding = encoding::unknown;
        EncodingChoice::Kind kind = EncodingChoice::Kind::Automatic;
    };
    /// How to decode, detecting the encoding when nobody knows it yet and there are bytes.
    Way wayFor(std::span<const Part> parts);
    static std::optional<std::vector<Text>> decodeAll(std::span<const Part> parts, Way way);

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    EncodingChoice choice_;
    StringEncoding chosen_ = encoding::unknown;
    QByteArray mark_; // the first bytes of the file, as many as the longest mark has
    StringEncoding detected_ = encoding::unknown;
};

} // namespace korvane
