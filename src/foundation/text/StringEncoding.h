#pragma once

#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace korvane {

/// A text encoding by its stable number; 0 if unknown. Numbers are logged and stored, so they never change.
using StringEncoding = std::uint32_t;

namespace encoding {
inline constexpr StringEncoding unknown = 0;
inline constexpr StringEncoding ascii = 1;
inline constexpr StringEncoding eucJapanese = 3;
inline constexpr StringEncoding utf8 = 4;
inline constexpr StringEncoding isoLatin1 = 5;
inline constexpr StringEncoding shiftJis = 8;
inline constexpr StringEncoding isoLatin2 = 9;
inline constexpr StringEncoding utf16 = 10; // by its byte-order mark, big-endian without one
inline constexpr StringEncoding windows1251 = 11;
inline constexpr StringEncoding windows1252 = 12;
inline constexpr StringEncoding windows1253 = 13;
inline constexpr StringEncoding windows1254 = 14;
inline constexpr StringEncoding windows1250 = 15;
inline constexpr StringEncoding iso2022Japanese = 21;
inline constexpr StringEncoding utf16BigEndian = 0x90000100;
inline constexpr StringEncoding utf16LittleEndian = 0x94000100;
inline constexpr StringEncoding utf32 = 0x8c000100;
inline constexpr StringEncoding utf32BigEndian = 0x98000100;
inline constexpr StringEncoding utf32LittleEndian = 0x9c000100;
inline constexpr StringEncoding gb18030 = 0x80000632;
inline constexpr StringEncoding eucKorean = 0x80000940;
inline constexpr StringEncoding big5 = 0x80000A03;
inline constexpr StringEncoding koi8r = 0x80000A02;
} // namespace encoding

/// The encodings that the program knows, in the order of menus.
const std::vector<StringEncoding>& knownEncodings();

/// The name for users and the log, for example "Unicode (UTF-8)". Empty for an unknown number.
QString encodingName(StringEncoding encoding);

/// The most likely encoding of `data`, or `encoding::unknown`. Order: byte-order mark, the pattern of NUL
/// bytes, escape sequences (ISO-2022), strictly valid UTF-8 (a character cut by the end of the data is
/// allowed), then a statistical detector on the words with high bytes, whose weak guesses are ignored. Any
/// thread.
StringEncoding detectStringEncoding(QByteArrayView data);

/// As above, but only UTF-16 and UTF-32, by a mark or the positions of NUL bytes.
StringEncoding detectWideEncoding(QByteArrayView data);

/// The text of `data`, or nullopt if some bytes are not valid in the encoding. A byte-order mark at the start
/// of the data is dropped. Any thread.
std::optional<QString> decodeStrictly(QByteArrayView data, StringEncoding encoding);

/// As above, but invalid bytes become U+FFFD. Any thread.
QString decodeLeniently(QByteArrayView data, StringEncoding encoding);

/// The encoding with the byte order found at the start of a file, if its byte order is not fixed.
StringEncoding withByteOrder(QByteArrayView fileStart, StringEncoding encoding);

/// Number of bytes of a UTF-8 character that is cut off by the end of the data.
qsizetype cutUtf8Bytes(QByteArrayView data);

/// Size of the text in an encoding, in bytes, without a byte-order mark.
std::uint64_t encodedSize(QStringView text, StringEncoding encoding);

/// Size of a code unit in bytes: 2 for UTF-16, 4 for UTF-32, else 1.
int unitSize(StringEncoding encoding);

} // namespace korvane
