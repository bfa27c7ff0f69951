#include "foundation/text/StringEncoding.h"

#include <QList>
#include <QStringConverter>

#include <gtest/gtest.h>
#include <random>
#include <unicode/ucnv.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

const QByteArray germanLatin1 =
    u"2024-01-01 Fehler: Grüße aus Köln, die Verbindung wurde geschlossen, kann nicht geöffnet werden"_s
        .toLatin1();
const QByteArray russianKoi8 =
    "2024-01-01 \xEF\xDB\xC9\xC2\xCB\xC1 \xD3\xCF\xC5\xC4\xC9\xCE\xC5\xCE\xC9\xD1 \xD3 "
    "\xD3\xC5\xD2\xD7\xC5\xD2\xCF\xCD \xC2\xC1\xDA\xD9 \xC4\xC1\xCE\xCE\xD9\xC8";
const QByteArray japaneseShiftJis =
    "2024-01-01 ERROR \x83\x66\x81\x5b\x83\x5e\x83\x78\x81\x5b\x83\x58\x82\xc9\x90"
    "\xda\x91\xb1\x82\xc5\x82\xab\x82\xdc\x82\xb9\x82\xf1";
const QByteArray asciiLine = "2024-01-01 12:00:00.000 INFO nothing to see in this line\n";

QByteArray utf16(const QString& text, bool littleEndian) {
    return QStringEncoder(littleEndian ? QStringConverter::Utf16LE : QStringConverter::Utf16BE)(text);
}
QByteArray utf32(const QString& text, bool littleEndian) {
    return QStringEncoder(littleEndian ? QStringConverter::Utf32LE : QStringConverter::Utf32BE)(text);
}

QByteArray randomBytes(int count) {
    std::mt19937 random(5);
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>(random());
    return bytes;
}

TEST(StringEncoding, DetectionTable) {
    const QString text = u"2024-01-01 INFO eine Zeile\n2024-01-01 WARN 😀 noch eine\n"_s;
    const QByteArray manyAscii = asciiLine.repeated(2000);
    const std::tuple<const char*, QByteArray, StringEncoding> cases[] = {
        {"nothing", "", encoding::unknown},
        {"ASCII", asciiLine, encoding::utf8},
        {"UTF-8", "Gr\xC3\xBC\xC3\x9F"_ba, encoding::utf8},
        {"UTF-8 cut after one byte of two", "Gr\xC3\xBC\xC3"_ba, encoding::utf8},
        {"UTF-8 cut after three bytes of four", "abc \xF0\x9F\x98"_ba, encoding::utf8},
        {"UTF-8 late in the data", manyAscii + "\xC3\xBC", encoding::utf8},
        {"UTF-8 with one bad byte", "2024 Grüße aus Köln \xFF und mehr"_ba, encoding::utf8},
        {"UTF-8 with a mark", "\xEF\xBB\xBFxyz"_ba, encoding::utf8},
        {"ASCII with some NUL bytes", asciiLine + QByteArray(3, '\0') + asciiLine, encoding::utf8},
        {"ASCII with a NUL after every line", (asciiLine + QByteArray(1, '\0')).repeated(9), encoding::utf8},
        {"ASCII after a hole of NUL bytes", QByteArray(9000, '\0') + asciiLine.repeated(100), encoding::utf8},
        {"UTF-16 with a mark, little-endian", "\xFF\xFE" + utf16(text, true), encoding::utf16LittleEndian},
        {"UTF-16 with a mark, big-endian", "\xFE\xFF" + utf16(text, false), encoding::utf16BigEndian},
        {"UTF-16 without a mark, little-endian", utf16(text, true), encoding::utf16LittleEndian},
        {"UTF-16 without a mark, big-endian", utf16(text, false), encoding::utf16BigEndian},
        {"UTF-16 cut within a unit", utf16(text, true).chopped(1), encoding::utf16LittleEndian},
        {"UTF-16 cut within a pair", utf16(u"abc😀"_s, true).chopped(2), encoding::utf16LittleEndian},
        {"UTF-32 with a mark", QByteArray("\xFF\xFE\0\0", 4) + utf32(text, true),
         encoding::utf32LittleEndian},
        {"UTF-32 without a mark, big-endian", utf32(text, false), encoding::utf32BigEndian},
        {"Latin 1 late in the data", manyAscii + germanLatin1, encoding::isoLatin1},
        {"Windows Latin 1 by one late quote",
         manyAscii + (germanLatin1 + "\n").repeated(200) + germanLatin1 + "\x93", encoding::windows1252},
        {"KOI8-R late in the data", manyAscii + russianKoi8, encoding::koi8r},
        {"Shift JIS cut within a character", (japaneseShiftJis + "\n").repeated(3).chopped(2),
         encoding::shiftJis},
        {"noise", randomBytes(5000), encoding::unknown},
    };
    for (const auto& [what, data, expected] : cases)
        EXPECT_EQ(detectStringEncoding(data), expected) << what;
}

QByteArray encoded(const QString& text, const char* converter) {
    QByteArray bytes(text.size() * 8, Qt::Uninitialized);
    UErrorCode status = U_ZERO_ERROR;
    UConverter* const encoder = ucnv_open(converter, &status);
    bytes.truncate(ucnv_fromUChars(encoder, bytes.data(), static_cast<int>(bytes.size()),
                                   reinterpret_cast<const UChar*>(text.utf16()),
                                   static_cast<int>(text.size()), &status));
    ucnv_close(encoder);
    EXPECT_TRUE(U_SUCCESS(status));
    return bytes;
}

/// A log in which only the messages are in a natural language.
QString logWith(const QStringList& messages, int lines) {
    QString log;
    for (int i = 0; i < lines; ++i)
        log +=
            QString::asprintf("2024-03-05T14:%02d:%02d.%03dZ [http-worker-%d] %s com.example.OrderService - ",
                              i / 60 % 60, i % 60, i * 37 % 1000, i % 8, i % 5 ? "INFO " : "ERROR") +
            messages[i % messages.size()] + QString::asprintf(" (id=%d, took %d ms)\n", i * 7919, i % 113);
    return log;
}

TEST(StringEncoding, ALogInALanguageIsShownAsItWasWritten) {
    const QStringList german{u"Verbindung zum Server geschlossen, Übertragung unvollständig"_s,
                             u"Die Größe der Datei überschreitet das zulässige Maß"_s};
    const QStringList quoted{u"Die Datei „Aufträge“ ist größer als erlaubt – übersprungen"_s};
    const QStringList polish{u"Połączenie z bazą danych zostało zerwane, spróbuj ponownie później"_s,
                             u"Błąd podczas odświeżania sesji użytkownika, żądanie odrzucone"_s};
    const QStringList russian{u"Ошибка соединения с сервером базы данных"_s,
                              u"Превышено время ожидания ответа, повторная попытка"_s};
    const QStringList greek{u"Η σύνδεση με τον διακομιστή απέτυχε"_s,
                            u"Σφάλμα κατά την ανάγνωση του αρχείου παραγγελιών"_s};
    const QStringList turkish{u"Sunucuya bağlanılamadı, lütfen daha sonra yeniden deneyin"_s,
                              u"İşlem sırasında beklenmeyen bir hata oluştu, çağrı reddedildi"_s};
    const QStringList japanese{u"データベースに接続できませんでした"_s, u"応答がないため処理を中断します"_s};
    const QStringList simplified{u"数据库连接失败，请稍后重试"_s, u"订单处理超时，已经取消"_s};
    const QStringList traditional{u"資料庫連線失敗，請稍後再試"_s, u"訂單處理逾時，已經取消"_s};
    const QStringList korean{u"데이터베이스에 연결할 수 없습니다"_s, u"주문 처리 시간이 초과되었습니다"_s};
    const std::tuple<StringEncoding, const char*, QStringList> cases[] = {
        {encoding::utf8, "UTF-8", simplified},
        {encoding::utf16, "UTF-16", german},
        {encoding::utf16LittleEndian, "UTF-16LE", russian},
        {encoding::utf16BigEndian, "UTF-16BE", japanese},
        {encoding::utf32, "UTF-32", german},
        {encoding::utf32LittleEndian, "UTF-32LE", russian},
        {encoding::utf32BigEndian, "UTF-32BE", japanese},
        {encoding::ascii, "US-ASCII", {u"nothing but ASCII"_s}},
        {encoding::isoLatin1, "ISO-8859-1", german},
        {encoding::windows1252, "windows-1252", quoted},
        {encoding::isoLatin2, "ISO-8859-2", polish},
        {encoding::windows1250, "windows-1250", polish},
        {encoding::windows1251, "windows-1251", russian},
        {encoding::koi8r, "KOI8-R", russian},
        {encoding::windows1253, "windows-1253", greek},
        {encoding::windows1254, "windows-1254", turkish},
        {encoding::shiftJis, "Shift_JIS", japanese},
        {encoding::eucJapanese, "EUC-JP", japanese},
        {encoding::iso2022Japanese, "ISO-2022-JP", japanese},
        {encoding::gb18030, "gb18030", simplified},
        {encoding::big5, "Big5", traditional},
        {encoding::eucKorean, "EUC-KR", korean},
    };
    QList<StringEncoding> covered;
    for (const auto& [number, converter, messages] : cases) {
        covered += number;
        for (const int lines : {10, 400}) {
            const QString log = logWith(messages, lines);
            const QByteArray bytes = encoded(log, converter);
            const StringEncoding detected = detectStringEncoding(bytes);
            EXPECT_TRUE(decodeStrictly(bytes, detected) == log)
                << converter << " was taken for " << encodingName(detected).toStdString() << ", " << lines;
        }
    }
    for (const StringEncoding number : knownEncodings())
        EXPECT_TRUE(covered.contains(number)) << encodingName(number).toStdString();
}

TEST(StringEncoding, StrictDecodingRefusesWhatIsNotValid) {
    const std::tuple<const char*, QByteArray, StringEncoding, std::optional<QString>> cases[] = {
        {"nothing", "", encoding::utf8, u""_s},
        {"UTF-8", "a\xC3\xBC\xF0\x9F\x98\x80"_ba, encoding::utf8, u"aü😀"_s},
        {"NUL bytes", QByteArray("a\0b", 3), encoding::utf8, u"a\0b"_s},
        {"truncated", "a\xC3"_ba, encoding::utf8, {}},
        {"truncated four", "a\xF0\x9F\x98"_ba, encoding::utf8, {}},
        {"overlong slash", "\xC0\xAF"_ba, encoding::utf8, {}},
        {"overlong three", "\xE0\x80\xAF"_ba, encoding::utf8, {}},
        {"surrogate", "\xED\xA0\x80"_ba, encoding::utf8, {}},
        {"beyond the last character", "\xF4\x90\x80\x80"_ba, encoding::utf8, {}},
        {"lone continuation after ASCII", asciiLine.repeated(3) + "\x80", encoding::utf8, {}},
        {"UTF-8 mark", "\xEF\xBB\xBFx"_ba, encoding::utf8, u"x"_s},
        {"two UTF-8 marks", "\xEF\xBB\xBF\xEF\xBB\xBFx"_ba, encoding::utf8, u"\uFEFFx"_s},
        {"ASCII", "abc"_ba, encoding::ascii, u"abc"_s},
        {"high byte in ASCII", asciiLine + "\xE4", encoding::ascii, {}},
        {"Latin 1", "\xE4\x80"_ba, encoding::isoLatin1, u"ä\u0080"_s},
        {"Windows", "\x80\xE4"_ba, encoding::windows1252, u"€ä"_s},
        {"UTF-16 mark decides", "\xFF\xFEx\0"_ba, encoding::utf16, u"x"_s},
        {"UTF-16 without a mark", QByteArray("\0a", 2), encoding::utf16, u"a"_s},
        {"UTF-16LE mark dropped", "\xFF\xFE" + utf16(u"aü😀"_s, true), encoding::utf16LittleEndian, u"aü😀"_s},
        {"UTF-16 cut in a pair", utf16(u"a😀"_s, true).chopped(2), encoding::utf16LittleEndian, {}},
        {"UTF-16 cut in a unit", utf16(u"ab"_s, false).chopped(1), encoding::utf16BigEndian, {}},
        {"UTF-32", utf32(u"a😀"_s, false), encoding::utf32, u"a😀"_s},
        {"Shift JIS", "\x83\x66\x81\x5b"_ba, encoding::shiftJis, u"デー"_s},
        {"Shift JIS cut", "\x83\x66\x81"_ba, encoding::shiftJis, {}},
        {"unknown number", "abc"_ba, 0xDEADBEEF, {}},
    };
    for (const auto& [what, data, number, expected] : cases)
        EXPECT_EQ(decodeStrictly(data, number), expected) << what;
}

TEST(StringEncoding, LenientDecodingKeepsWhatIsValid) {
    EXPECT_EQ(decodeLeniently("a\xFFz\xC3\xBC", encoding::utf8), u"a\uFFFDzü"_s);
    EXPECT_EQ(decodeLeniently("a\xE4z", encoding::ascii), u"a\uFFFDz"_s);
    EXPECT_EQ(decodeLeniently(utf16(u"ab"_s, true).chopped(1), encoding::utf16LittleEndian), u"a\uFFFD"_s);
    EXPECT_EQ(decodeLeniently("a\xFFz", 0xDEADBEEF), u"a\uFFFDz"_s);
}

TEST(StringEncoding, EveryKnownEncodingHasANameAndItsSizes) {
    for (const StringEncoding number : knownEncodings()) {
        EXPECT_FALSE(encodingName(number).isEmpty()) << number;
        const auto unit = static_cast<std::uint64_t>(unitSize(number));
        EXPECT_EQ(encodedSize(QString(5000, u'a'), number), 5000 * unit) << number;
    }
    EXPECT_EQ(encodedSize(u"aü€😀"_s, encoding::utf8), 10U);
    EXPECT_EQ(encodedSize(u"デー"_s, encoding::shiftJis), 4U);
}

} // namespace
} // namespace korvane
