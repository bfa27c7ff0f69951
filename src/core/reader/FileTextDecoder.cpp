#include "core/reader/FileTextDecoder.h"

#include "core/reader/ReaderLog.h"

#include <algorithm>

namespace korvane {
namespace {

/// Bytes of the longest byte-order mark.
constexpr qsizetype longestMark = 4;

/// The whole units among the bytes. The ends may hold parts of a newline, which is found as one byte but
/// takes a whole unit in the wide encodings.
QByteArrayView wholeUnits(const FileTextDecoder::Part& part, StringEncoding number) {
    const auto unit = static_cast<std::uint64_t>(unitSize(number));
    const auto before = static_cast<qsizetype>((unit - part.offset % unit) % unit);
    if (before >= part.bytes.size())
        return unit == 1 ? part.bytes : QByteArrayView();
    const QByteArrayView rest = part.bytes.sliced(before);
    return rest.chopped(rest.size() % static_cast<qsizetype>(unit));
}

std::optional<FileTextDecoder::Text> decodePart(const FileTextDecoder::Part& part, StringEncoding number,
                                                bool lenient) {
    QByteArrayView bytes = wholeUnits(part, number);
    const auto result = [&](QString text) {
        return FileTextDecoder::Text{
            std::move(text),
            bytes.isEmpty() ? 0 : static_cast<std::uint64_t>(bytes.end() - part.bytes.begin())};
    };
    if (part.isCut && (number == encoding::utf8 || number == encoding::ascii))
        bytes.chop(cutUtf8Bytes(bytes));
    if (lenient)
        return result(decodeLeniently(bytes, number));
    // In the other encodings only decoding finds the end of a character.
    constexpr int longestCharacter = 4;
    const int unit = unitSize(number);
    const int tries = part.isCut && number != encoding::utf8 ? longestCharacter / unit : 1;
    for (int i = 0; i < tries; ++i) {
        if (auto text = decodeStrictly(bytes, number))
            return result(std::move(*text));
        if (bytes.size() < unit)
            break;
        bytes.chop(unit);
    }
    return std::nullopt;
}

} // namespace

EncodingChoice FileTextDecoder::choice() const {
    const MutexLock guard(mutex_);
    return choice_;
}

void FileTextDecoder::setChoice(EncodingChoice choice) {
    const MutexLock guard(mutex_);
    choice_ = choice;
    chosen_ = withByteOrder(mark_, choice.encoding);
}

void FileTextDecoder::forgetDetection() {
    const MutexLock guard(mutex_);
    detected_ = encoding::unknown;
}

LineEnd FileTextDecoder::lineEndFor(QByteArrayView fileStart) {
    {
        const MutexLock guard(mutex_);
        mark_ = fileStart.first(std::min(fileStart.size(), longestMark)).toByteArray();
        chosen_ = withByteOrder(mark_, choice_.encoding);
        // The first bytes of a longer mark may be those of a shorter one.
        if (const StringEncoding wide = detectWideEncoding(fileStart);
            wide != encoding::unknown && wide != detected_)
            detected_ = detectEncoding(fileStart);
    }
    return lineEnd();
}

StringEncoding FileTextDecoder::fileEncoding() const {
    const MutexLock guard(mutex_);
    switch (choice_.kind) {
    case EncodingChoice::Kind::Fixed:
        return chosen_;
    case EncodingChoice::Kind::LenientUtf8:
        return encoding::utf8;
    case EncodingChoice::Kind::Automatic:
        break;
    }
    return detected_;
}

StringEncoding FileTextDecoder::detectEncoding(QByteArrayView data) {
    const StringEncoding detected = detectStringEncoding(data);
    if (detected == encoding::unknown) {
        qCInfo(logCore, "Could not detect file encoding - returning default UTF-8 encoding");
        return encoding::utf8;
    }
    qCInfo(logCore, "Detected file encoding: %u - name = %s", detected,
           qUtf8Printable(encodingName(detected)));
    return detected;
}

FileTextDecoder::Way FileTextDecoder::wayFor(std::span<const Part> parts) {
    // Held while detecting, so that only one of several first pages decides.
    const MutexLock guard(mutex_);
    switch (choice_.kind) {
    case EncodingChoice::Kind::Fixed:
        return {chosen_, choice_.kind};
    case EncodingChoice::Kind::LenientUtf8:
        return {encoding::utf8, choice_.kind};
    case EncodingChoice::Kind::Automatic:
        break;
    }
    const auto first = std::ranges::find_if(parts, [](const Part& part) { return !part.bytes.isEmpty(); });
    if (detected_ == encoding::unknown && first != parts.end()) {
        // The second byte of a newline before the line would make its units look swapped.
        const bool insideUnit = first->offset % 2 == 1 && first->bytes.front() == '\0';
        detected_ = detectEncoding(insideUnit ? first->bytes.sliced(1) : first->bytes);
    }
    return {detected_, choice_.kind};
}

std::optional<std::vector<FileTextDecoder::Text>> FileTextDecoder::decodeAll(std::span<const Part> parts,
                                                                             Way way) {
    std::vector<Text> texts;
    texts.reserve(parts.size());
    for (const Part& part : parts) {
        if (part.bytes.isEmpty()) {
            texts.emplace_back();
            continue;
        }
        auto text = decodePart(part, way.encoding, way.kind == EncodingChoice::Kind::LenientUtf8);
        if (!text)
            return std::nullopt;
        texts.push_back(std::move(*text));
    }
    return texts;
}

std::optional<std::vector<FileTextDecoder::Text>> FileTextDecoder::decode(std::span<const Part> parts) {
    const Way way = wayFor(parts);
    auto texts = decodeAll(parts, way);
    if (!texts && way.kind == EncodingChoice::Kind::Automatic) {
        qCWarning(logCore, "-- Error parsing String with detected encoding: %u. Trying UTF-8", way.encoding);
        if (way.encoding != encoding::utf8)
            texts = decodeAll(parts, {encoding::utf8, way.kind});
    }
    if (!texts)
        qCWarning(logCore, "Could not parse log data! Please check the file encoding and contact support.");
    return texts;
}

std::optional<FileTextDecoder::Text> FileTextDecoder::decodeSilently(const Part& part) {
    const std::span<const Part> parts(&part, 1);
    const Way way = wayFor(parts);
    auto texts = decodeAll(parts, way);
    if (!texts && way.kind == EncodingChoice::Kind::Automatic && way.encoding != encoding::utf8)
        texts = decodeAll(parts, {encoding::utf8, way.kind});
    if (!texts)
        return std::nullopt;
    return std::move(texts->front());
}

FileTextDecoder::Line FileTextDecoder::decodeLine(const Part& part) {
    if (auto text = decodeSilently(part))
        return {std::move(*text)};
    return {decodePart(part, fileEncoding(), true).value_or(Text()), true};
}

} // namespace korvane
