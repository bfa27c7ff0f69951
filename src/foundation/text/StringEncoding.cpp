#include "foundation/text/StringEncoding.h"

#include <QCoreApplication>

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/ucnv_err.h>
#include <unicode/ucsdet.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

namespace korvane {
namespace {

struct KnownEncoding {
    StringEncoding number;
    const char* name;
    /// Name of the encoding in ICU.
    const char* converter;
};

constexpr KnownEncoding knownTable[] = {
    {encoding::utf8, QT_TRANSLATE_NOOP("StringEncoding", "Unicode (UTF-8)"), "UTF-8"},
    {encoding::utf16, QT_TRANSLATE_NOOP("StringEncoding", "Unicode (UTF-16)"), "UTF-16BE"},
    {encoding::utf16LittleEndian, QT_TRANSLATE_NOOP("StringEncoding", "Unicode (UTF-16LE)"), "UTF-16LE"},
    {encoding::utf16BigEndian, QT_TRANSLATE_NOOP("StringEncoding", "Unicode (UTF-16BE)"), "UTF-16BE"},
    {encoding::utf32, QT_TRANSLATE_NOOP("StringEncoding", "Unicode (UTF-32)"), "UTF-32BE"},
    {encoding::utf32LittleEndian, QT_TRANSLATE_NOOP("StringEncoding", "Unicode (UTF-32LE)"), "UTF-32LE"},
    {encoding::utf32BigEndian, QT_TRANSLATE_NOOP("StringEncoding", "Unicode (UTF-32BE)"), "UTF-32BE"},
    {encoding::ascii, QT_TRANSLATE_NOOP("StringEncoding", "Western (ASCII)"), "US-ASCII"},
    {encoding::isoLatin1, QT_TRANSLATE_NOOP("StringEncoding", "Western (ISO Latin 1)"), "ISO-8859-1"},
    {encoding::windows1252, QT_TRANSLATE_NOOP("StringEncoding", "Western (Windows Latin 1)"), "windows-1252"},
    {encoding::isoLatin2, QT_TRANSLATE_NOOP("StringEncoding", "Central European (ISO Latin 2)"),
     "ISO-8859-2"},
    {encoding::windows1250, QT_TRANSLATE_NOOP("StringEncoding", "Central European (Windows Latin 2)"),
     "windows-1250"},
    {encoding::windows1251, QT_TRANSLATE_NOOP("StringEncoding", "Cyrillic (Windows)"), "windows-1251"},
    {encoding::koi8r, QT_TRANSLATE_NOOP("StringEncoding", "Cyrillic (KOI8-R)"), "KOI8-R"},
    {encoding::windows1253, QT_TRANSLATE_NOOP("StringEncoding", "Greek (Windows)"), "windows-1253"},
    {encoding::windows1254, QT_TRANSLATE_NOOP("StringEncoding", "Turkish (Windows Latin 5)"), "windows-1254"},
    {encoding::shiftJis, QT_TRANSLATE_NOOP("StringEncoding", "Japanese (Shift JIS)"), "Shift_JIS"},
    {encoding::eucJapanese, QT_TRANSLATE_NOOP("StringEncoding", "Japanese (EUC)"), "EUC-JP"},
    {encoding::iso2022Japanese, QT_TRANSLATE_NOOP("StringEncoding", "Japanese (ISO 2022-JP)"), "ISO-2022-JP"},
    {encoding::gb18030, QT_TRANSLATE_NOOP("StringEncoding", "Chinese (GB 18030)"), "gb18030"},
    {encoding::big5, QT_TRANSLATE_NOOP("StringEncoding", "Traditional Chinese (Big 5)"), "Big5"},
    {encoding::eucKorean, QT_TRANSLATE_NOOP("StringEncoding", "Korean (EUC)"), "EUC-KR"},
};

const KnownEncoding* find(StringEncoding number) {
    const auto* found = std::ranges::find(knownTable, number, &KnownEncoding::number);
    return found == std::end(knownTable) ? nullptr : found;
}

// ---- Byte-order marks ----

struct ByteOrderMark {
    std::string_view bytes;
    StringEncoding encoding;
};

// Long marks first: that of UTF-32LE begins with that of UTF-16LE.
constexpr ByteOrderMark byteOrderMarks[] = {
    {std::string_view("\xFF\xFE\0\0", 4), encoding::utf32LittleEndian},
    {std::string_view("\0\0\xFE\xFF", 4), encoding::utf32BigEndian},
    {"\xEF\xBB\xBF", encoding::utf8},
    {"\xFF\xFE", encoding::utf16LittleEndian},
    {"\xFE\xFF", encoding::utf16BigEndian},
};

bool startsWith(QByteArrayView data, std::string_view bytes) {
    return data.startsWith(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
}

bool hasMarkOf(QByteArrayView data, StringEncoding number) {
    return std::ranges::any_of(byteOrderMarks, [&](const ByteOrderMark& mark) {
        return mark.encoding == number && startsWith(data, mark.bytes);
    });
}

QByteArrayView withoutMark(QByteArrayView data, StringEncoding number) {
    for (const ByteOrderMark& mark : byteOrderMarks)
        if (mark.encoding == number && startsWith(data, mark.bytes))
            return data.sliced(static_cast<qsizetype>(mark.bytes.size()));
    return data;
}

// ---- Conversion ----

enum class Strictness { Strict, Lenient };

bool hasHighBytes(QByteArrayView data) {
    unsigned char all = 0;
    for (const char byte : data)
        all |= static_cast<unsigned char>(byte);
    return all & 0x80;
}

/// Replaces every invalid byte by U+FFFD: ICU's own substitute differs in some encodings.
void replaceBytes(const void* /*context*/, UConverterToUnicodeArgs* arguments, const char* /*bytes*/,
                  std::int32_t count, UConverterCallbackReason reason, UErrorCode* status) {
    if (reason > UCNV_IRREGULAR)
        return;
    *status = U_ZERO_ERROR;
    const UChar replacement = QChar::ReplacementCharacter;
    for (std::int32_t i = 0; i < count; i += ucnv_getMinCharSize(arguments->converter))
        ucnv_cbToUWriteUChars(arguments, &replacement, 1, 0, status);
}

std::optional<QString> convert(QByteArrayView data, const char* converterName, Strictness strictness) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open(converterName, &status),
                                                                       &ucnv_close);
    ucnv_setToUCallBack(converter.get(),
                        strictness == Strictness::Strict ? UCNV_TO_U_CALLBACK_STOP : &replaceBytes, nullptr,
                        nullptr, nullptr, &status);
    if (U_FAILURE(status))
        return std::nullopt;

    // Every known encoding gives at most one unit per byte; otherwise the loop would only run once more.
    QString text(std::max<qsizetype>(data.size(), 16), Qt::Uninitialized);
    qsizetype filled = 0;
    const char* source = data.data();
    const char* const sourceEnd = source + data.size();
    for (;;) {
        auto* const target = reinterpret_cast<UChar*>(text.data());
        // ICU uses 32-bit lengths in places, so its input is limited.
        constexpr qsizetype largestStep = 1 << 28;
        UChar* position = target + filled;
        const UChar* const targetEnd = position + std::min(text.size() - filled, largestStep);
        const char* const stepEnd = source + std::min<qsizetype>(sourceEnd - source, largestStep);
        ucnv_toUnicode(converter.get(), &position, targetEnd, &source, stepEnd, nullptr, stepEnd == sourceEnd,
                       &status);
        filled = position - target;
        if (status == U_BUFFER_OVERFLOW_ERROR) {
            status = U_ZERO_ERROR;
            if (filled == text.size())
                text.resize(text.size() * 2);
            continue;
        }
        if (U_FAILURE(status))
            return std::nullopt;
        if (source == sourceEnd)
            break;
    }
    text.resize(filled);
    return text;
}

QString asciiLeniently(QByteArrayView data) {
    QString text = QString::fromLatin1(data);
    for (QChar& unit : text)
        if (unit.unicode() > 0x7F)
            unit = QChar::ReplacementCharacter;
    return text;
}

std::optional<QString> decode(QByteArrayView data, StringEncoding number, Strictness strictness) {
    number = withByteOrder(data, number);
    const KnownEncoding* const known = find(number);
    if (!known)
        return std::nullopt;
    data = withoutMark(data, number);
    const bool strict = strictness == Strictness::Strict;
    switch (number) {
    case encoding::utf8: {
        if (strict && !data.isValidUtf8())
            return std::nullopt;
        // QString::fromUtf8 strips a mark; the one at the start was removed already, so a second one is text.
        if (hasMarkOf(data, encoding::utf8))
            return QChar(QChar::ByteOrderMark) + QString::fromUtf8(data.sliced(3));
        return QString::fromUtf8(data);
    }
    case encoding::ascii:
        if (strict)
            return hasHighBytes(data) ? std::nullopt : std::optional(QString::fromLatin1(data));
        return asciiLeniently(data);
    case encoding::isoLatin1:
        return QString::fromLatin1(data);
    default:
        return convert(data, known->converter, strictness);
    }
}

// ---- Detection ----

/// Length of the well-formed multi-byte character at `position`; 0 if there is none.
qsizetype utf8Length(QByteArrayView data, qsizetype position) {
    for (qsizetype length = 2; length <= 4 && position + length <= data.size(); ++length)
        if (data.sliced(position, length).isValidUtf8())
            return length;
    return 0;
}

/// Whether text that is not valid UTF-8 resembles it so closely that it must be damaged UTF-8.
bool isDamagedUtf8(QByteArrayView sample) {
    qsizetype good = 0;
    qsizetype bad = 0;
    for (qsizetype i = 0; i < sample.size();) {
        if (static_cast<unsigned char>(sample[i]) < 0x80) {
            ++i;
            continue;
        }
        const qsizetype length = utf8Length(sample, i);
        ++(length ? good : bad);
        i += std::max<qsizetype>(length, 1);
    }
    return good >= 3 * bad;
}

/// Detects UTF-16 and UTF-32 without a mark by the positions of NUL bytes. Some NUL bytes alone do not
/// suffice.
StringEncoding detectByNulBytes(QByteArrayView data) {
    constexpr qsizetype sampleSize = 1 << 16;
    const QByteArrayView sample = data.first(std::min(data.size(), sampleSize) / 4 * 4);
    const qsizetype quads = sample.size() / 4;
    if (!sample.contains('\0'))
        return encoding::unknown;

    std::array<qsizetype, 4> nulBytes{};
    qsizetype nulQuads = 0;
    for (qsizetype i = 0; i < sample.size(); i += 4) {
        int nulBytesHere = 0;
        for (std::size_t k = 0; k < 4; ++k)
            if (sample[i + static_cast<qsizetype>(k)] == 0) {
                ++nulBytes[k];
                ++nulBytesHere;
            }
        nulQuads += nulBytesHere == 4;
    }
    if (nulQuads == 0 && quads > 0) {
        // The highest byte is always zero, the next one is non-zero only in rare characters.
        if (nulBytes[3] == quads && nulBytes[2] * 2 > quads &&
            decodeStrictly(sample, encoding::utf32LittleEndian))
            return encoding::utf32LittleEndian;
        if (nulBytes[0] == quads && nulBytes[1] * 2 > quads &&
            decodeStrictly(sample, encoding::utf32BigEndian))
            return encoding::utf32BigEndian;
    }
    const qsizetype even = nulBytes[0] + nulBytes[2];
    const qsizetype odd = nulBytes[1] + nulBytes[3];
    const qsizetype units = quads * 2;
    const auto mostAndHardly = [units](qsizetype most, qsizetype hardly) {
        return most * 2 > units && hardly * 10 <= units;
    };
    const StringEncoding guess = mostAndHardly(odd, even)   ? encoding::utf16LittleEndian
                                 : mostAndHardly(even, odd) ? encoding::utf16BigEndian
                                                            : encoding::unknown;
    if (guess == encoding::unknown)
        return guess;
    // The sample may end within a surrogate pair.
    if (decodeStrictly(sample, guess) || decodeStrictly(sample.chopped(2), guess))
        return guess;
    return encoding::unknown;
}

/// Ends a word of text in every known encoding: no multi-byte character continues with such a byte.
bool isBetweenWords(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value < '0' || (value > '9' && value < '@');
}

/// Words with high bytes, up to the amount the detector uses. It reads little, and the ASCII of a log's time
/// stamps, classes and levels would outweigh the few words of a language.
QByteArray wordsWithHighBytes(QByteArrayView data) {
    constexpr qsizetype enough = 1 << 16;
    constexpr qsizetype longestPart = 1 << 12;
    QByteArray words;
    const auto isHigh = [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; };
    for (auto position = data.begin(); words.size() < enough;) {
        const auto high = std::find_if(position, data.end(), isHigh);
        if (high == data.end())
            break;
        const auto earliest = high - std::min<qsizetype>(high - position, longestPart);
        const auto start = std::find_if(std::make_reverse_iterator(high),
                                        std::make_reverse_iterator(earliest), isBetweenWords)
                               .base();
        const auto latest = high + std::min<qsizetype>(data.end() - high, longestPart);
        const auto end = std::find_if(high, latest, isBetweenWords);
        words.append(&*start, end - start);
        words.append(' ');
        position = end;
    }
    words.chop(1);
    return words;
}

/// Whether the data has the escape sequences that switch to Japanese characters. Otherwise such text is
/// ASCII, so it passes for valid UTF-8.
bool isIso2022Japanese(QByteArrayView data) {
    if (!data.contains('\x1b') || hasHighBytes(data))
        return false;
    constexpr std::string_view sequences[] = {"\x1b$B", "\x1b$@", "\x1b$(D"};
    return std::ranges::any_of(sequences, [&](std::string_view sequence) {
        return data.contains(QByteArrayView(sequence.data(), static_cast<qsizetype>(sequence.size())));
    });
}

struct DetectorName {
    const char* name;
    StringEncoding encoding;
};

/// Encodings that only the detector knows, with the known encoding that covers their characters.
constexpr DetectorName nearestEncodings[] = {
    {"ISO-8859-7", encoding::windows1253}, {"ISO-8859-9", encoding::windows1254}, {"GBK", encoding::gb18030},
    {"GB2312", encoding::gb18030},         {"EUC-CN", encoding::gb18030},
};

StringEncoding encodingOfDetectorName(const char* name, QByteArrayView sample) {
    const auto isNamed = [name](const char* other) { return qstricmp(name, other) == 0; };
    if (isNamed("ISO-8859-1")) {
        // The detector reads only the first few thousand bytes. Bytes 0x80 to 0x9F mean Windows-1252, since
        // text does not use control characters.
        const bool windows = std::ranges::any_of(sample, [](char byte) {
            return static_cast<unsigned char>(byte) >= 0x80 && static_cast<unsigned char>(byte) < 0xA0;
        });
        return windows ? encoding::windows1252 : encoding::isoLatin1;
    }
    for (const DetectorName& nearest : nearestEncodings)
        if (isNamed(nearest.name))
            return nearest.encoding;
    const auto* found = std::ranges::find_if(
        knownTable, [&](const KnownEncoding& known) { return isNamed(known.converter); });
    return found == std::end(knownTable) ? encoding::unknown : found->number;
}

bool decodesExceptForCutEnd(QByteArrayView sample, StringEncoding number) {
    for (qsizetype cut = 0; cut <= std::min<qsizetype>(3, sample.size()); ++cut)
        if (decodeStrictly(sample.chopped(cut), number))
            return true;
    return false;
}

/// Detection by letter statistics.
StringEncoding detectByStatistics(QByteArrayView sample) {
    constexpr int weakestGuess = 30;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UCharsetDetector, decltype(&ucsdet_close)> detector(ucsdet_open(&status),
                                                                              &ucsdet_close);
    ucsdet_setText(detector.get(), sample.data(), static_cast<std::int32_t>(sample.size()), &status);
    std::int32_t count = 0;
    const UCharsetMatch** const matches = ucsdet_detectAll(detector.get(), &count, &status);
    if (U_FAILURE(status))
        return encoding::unknown;
    for (std::int32_t i = 0; i < count; ++i) {
        if (ucsdet_getConfidence(matches[i], &status) < weakestGuess)
            return encoding::unknown;
        const char* const name = ucsdet_getName(matches[i], &status);
        // Unicode was checked before, and mainframe code pages are typical guesses for damaged text.
        if (qstrnicmp(name, "UTF-", 4) == 0 || qstrnicmp(name, "IBM42", 5) == 0)
            continue;
        const StringEncoding guess = encodingOfDetectorName(name, sample);
        if (guess != encoding::unknown && decodesExceptForCutEnd(sample, guess))
            return guess;
    }
    return encoding::unknown;
}

} // namespace

const std::vector<StringEncoding>& knownEncodings() {
    static const std::vector<StringEncoding> numbers = [] {
        std::vector<StringEncoding> result;
        for (const KnownEncoding& known : knownTable)
            result.push_back(known.number);
        return result;
    }();
    return numbers;
}

QString encodingName(StringEncoding encoding) {
    const KnownEncoding* const known = find(encoding);
    return known ? QCoreApplication::translate("StringEncoding", known->name) : QString();
}

StringEncoding detectWideEncoding(QByteArrayView data) {
    for (const ByteOrderMark& mark : byteOrderMarks)
        if (startsWith(data, mark.bytes))
            return unitSize(mark.encoding) > 1 ? mark.encoding : encoding::unknown;
    return data.isEmpty() ? encoding::unknown : detectByNulBytes(data);
}

StringEncoding detectStringEncoding(QByteArrayView data) {
    if (data.isEmpty())
        return encoding::unknown;
    for (const ByteOrderMark& mark : byteOrderMarks)
        if (startsWith(data, mark.bytes))
            return mark.encoding;
    if (const StringEncoding wide = detectByNulBytes(data); wide != encoding::unknown)
        return wide;
    if (isIso2022Japanese(data) && decodesExceptForCutEnd(data, encoding::iso2022Japanese))
        return encoding::iso2022Japanese;
    if (data.chopped(cutUtf8Bytes(data)).isValidUtf8())
        return encoding::utf8;
    const QByteArray sample = wordsWithHighBytes(data);
    return isDamagedUtf8(sample) ? encoding::utf8 : detectByStatistics(sample);
}

StringEncoding withByteOrder(QByteArrayView fileStart, StringEncoding encoding) {
    if (encoding == encoding::utf16)
        return hasMarkOf(fileStart, encoding::utf16LittleEndian) ? encoding::utf16LittleEndian
                                                                 : encoding::utf16BigEndian;
    if (encoding == encoding::utf32)
        return hasMarkOf(fileStart, encoding::utf32LittleEndian) ? encoding::utf32LittleEndian
                                                                 : encoding::utf32BigEndian;
    return encoding;
}

qsizetype cutUtf8Bytes(QByteArrayView data) {
    const qsizetype limit = std::min<qsizetype>(3, data.size());
    for (qsizetype back = 1; back <= limit; ++back) {
        const auto byte = static_cast<unsigned char>(data[data.size() - back]);
        if ((byte & 0xC0) == 0x80)
            continue;
        const qsizetype length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC2 ? 2 : 1;
        return length > back && byte <= 0xF4 ? back : 0;
    }
    return 0;
}

std::optional<QString> decodeStrictly(QByteArrayView data, StringEncoding encoding) {
    return decode(data, encoding, Strictness::Strict);
}

QString decodeLeniently(QByteArrayView data, StringEncoding encoding) {
    const StringEncoding number = find(encoding) ? encoding : encoding::utf8;
    return decode(data, number, Strictness::Lenient).value_or(QString());
}

std::uint64_t encodedSize(QStringView text, StringEncoding encoding) {
    const KnownEncoding* const known = find(encoding);
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(
        ucnv_open(known ? known->converter : "UTF-8", &status), &ucnv_close);
    if (U_FAILURE(status))
        return 0;
    const auto* source = reinterpret_cast<const UChar*>(text.utf16());
    const UChar* const sourceEnd = source + text.size();
    std::uint64_t size = 0;
    do {
        std::array<char, 4096> buffer;
        char* position = buffer.data();
        status = U_ZERO_ERROR;
        ucnv_fromUnicode(converter.get(), &position, buffer.data() + buffer.size(), &source, sourceEnd,
                         nullptr, true, &status);
        size += static_cast<std::uint64_t>(position - buffer.data());
    } while (status == U_BUFFER_OVERFLOW_ERROR);
    return size;
}

int unitSize(StringEncoding encoding) {
    switch (encoding) {
    case encoding::utf16:
    case encoding::utf16LittleEndian:
    case encoding::utf16BigEndian:
        return 2;
    case encoding::utf32:
    case encoding::utf32LittleEndian:
    case encoding::utf32BigEndian:
        return 4;
    default:
        return 1;
    }
}

} // namespace korvane
