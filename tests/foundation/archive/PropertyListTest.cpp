#include "foundation/archive/PropertyList.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <optional>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

QByteArray bigEndian(std::uint64_t value, int width) {
    QByteArray bytes;
    for (int i = width; i-- > 0;)
        bytes.append(static_cast<char>(value >> (8 * i)));
    return bytes;
}

/// A property list built from the bytes of its objects; the offsets and every number of the trailer can be
/// falsified.
struct RawList {
    std::vector<QByteArray> objects;
    std::uint64_t top = 0;
    std::optional<std::uint64_t> objectCount = {};
    std::optional<std::uint64_t> tableOffset = {};
    int offsetWidth = 2;
    int referenceWidth = 1;
    /// Written in place of the right offsets; the keys are indices of objects.
    std::map<std::size_t, std::uint64_t> offsets = {};

    QByteArray bytes() const {
        QByteArray out("bplist00");
        QByteArray table;
        for (std::size_t i = 0; i < objects.size(); ++i) {
            const auto falsified = offsets.find(i);
            table += bigEndian(
                falsified == offsets.end() ? static_cast<std::uint64_t>(out.size()) : falsified->second, 2);
            out += objects[i];
        }
        const auto tableStart = static_cast<std::uint64_t>(out.size());
        out += table + QByteArray(6, '\0') + bigEndian(static_cast<std::uint64_t>(offsetWidth), 1) +
               bigEndian(static_cast<std::uint64_t>(referenceWidth), 1);
        out += bigEndian(objectCount.value_or(objects.size()), 8) + bigEndian(top, 8) +
               bigEndian(tableOffset.value_or(tableStart), 8);
        return out;
    }
};

QByteArray hex(const char* digits) {
    return QByteArray::fromHex(digits);
}

PropertyList nested(int levels) {
    PropertyList list(u"core"_s);
    for (int i = 0; i < levels; ++i)
        list = PropertyList(PropertyList::Array{list});
    return list;
}

template <typename T>
void expectKept(T value) {
    const QByteArray bytes = PropertyList(value).toBinary();
    const auto read = PropertyList::fromBinary(bytes);
    ASSERT_TRUE(read) << bytes.toHex().constData();
    ASSERT_NE(read.value().as<T>(), nullptr) << bytes.toHex().constData();
    EXPECT_EQ(*read.value().as<T>(), value) << bytes.toHex().constData();
}

TEST(PropertyListTest, ValuesSurviveAtTheEdgesOfTheirWidths) {
    const std::int64_t integers[] = {0,       -1,         0xff,        0x100,     0xffff,
                                     0x10000, 0xffffffff, 0x100000000, INT64_MAX, INT64_MIN};
    for (const std::int64_t value : integers)
        expectKept(value);
    expectKept(std::numeric_limits<std::uint64_t>::max());
    expectKept(std::uint64_t(1) << 63);
    for (const std::uint64_t value : {0ull, 255ull, 256ull, 65536ull, 1ull << 40})
        expectKept(PropertyList::Uid{value});
    expectKept(true);
    expectKept(false);
    expectKept(-0.1);
    expectKept(std::numeric_limits<double>::infinity());
    expectKept(PropertyList::Date{-1.5});
    for (const int length : {0, 14, 15, 255, 256, 70'000}) {
        expectKept(QByteArray(length, '\xfe'));
        expectKept(QString(length, u'a'));
        expectKept(QString(length, u'ß'));
    }
    expectKept(QString(u"nul\0in it \U0001F600"_s));
    const auto null = PropertyList::fromBinary(PropertyList().toBinary());
    ASSERT_TRUE(null);
    EXPECT_TRUE(null.value().isNull());
}

TEST(PropertyListTest, ManyObjectsNeedWiderReferences) {
    for (const int count : {255, 256, 65'536, 70'000}) {
        SCOPED_TRACE(count);
        PropertyList::Array numbers;
        for (int i = 0; i < count; ++i)
            numbers.emplace_back(std::int64_t(i));
        const auto read = PropertyList::fromBinary(PropertyList(numbers).toBinary());
        ASSERT_TRUE(read);
        const PropertyList::Array& array = *read.value().array();
        ASSERT_EQ(array.size(), static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            ASSERT_EQ(*array[static_cast<std::size_t>(i)].as<std::int64_t>(), i);
    }
}

TEST(PropertyListTest, DictionaryFindsEveryKey) {
    const PropertyListDictionary made({{u"b"_s, PropertyList(u"a"_s)},
                                       {u"ä"_s, PropertyList(std::int64_t(2))},
                                       {u""_s, PropertyList(PropertyListDictionary())},
                                       {u"a"_s, PropertyList(PropertyList::Array())}});
    const auto read = PropertyList::fromBinary(PropertyList(made).toBinary());
    ASSERT_TRUE(read);
    const PropertyListDictionary& found = *read.value().dictionary();
    EXPECT_EQ(found.entries().size(), 4u);
    EXPECT_EQ(*found.value(u"b"_s)->as<QString>(), u"a"_s);
    EXPECT_EQ(*found.value(u"ä"_s)->as<std::int64_t>(), 2);
    EXPECT_NE(found.value(u""_s)->dictionary(), nullptr);
    EXPECT_NE(found.value(u"a"_s)->array(), nullptr);
    EXPECT_EQ(found.value(u"c"_s), nullptr);
}

TEST(PropertyListTest, NestingEndsInAnErrorNotInTheStack) {
    EXPECT_TRUE(PropertyList::fromBinary(nested(PropertyList::mostLevels).toBinary()));
    EXPECT_FALSE(PropertyList::fromBinary(nested(PropertyList::mostLevels + 1).toBinary()));

    // Far deeper, built by hand: object i is a list of object i + 1.
    RawList deep;
    deep.referenceWidth = 2;
    for (std::uint64_t i = 1; i <= 16'000; ++i)
        deep.objects.push_back(hex("a1") + bigEndian(i, 2));
    deep.objects.push_back(hex("09"));
    EXPECT_FALSE(PropertyList::fromBinary(deep.bytes()));

    // The first element is as deep as allowed; the second holds it one level further down.
    const PropertyList deepest = nested(PropertyList::mostLevels - 1);
    const PropertyList deeper(PropertyList::Array{deepest, PropertyList(PropertyList::Array{deepest})});
    EXPECT_FALSE(PropertyList::fromBinary(deeper.toBinary()));
}

TEST(PropertyListTest, PartsThatDoubleAtEachLevelCostNothing) {
    PropertyList list(u"core"_s);
    constexpr int levels = 200;
    for (int i = 0; i < levels; ++i)
        list = PropertyList(PropertyList::Array{list, list});
    const QByteArray bytes = list.toBinary();
    EXPECT_LT(bytes.size(), 10 * levels);
    const auto read = PropertyList::fromBinary(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(read.value().toBinary(), bytes);
}

TEST(PropertyListTest, EightBytesAreSignedAndFewerAreNot) {
    const auto integer = [](const char* digits) {
        const auto read = PropertyList::fromBinary(RawList{{hex(digits)}}.bytes());
        return read && read.value().as<std::int64_t>() ? *read.value().as<std::int64_t>() : 12345;
    };
    EXPECT_EQ(integer("10ff"), 255);
    EXPECT_EQ(integer("11ffff"), 65535);
    EXPECT_EQ(integer("13ffffffffffffffff"), -1);
    EXPECT_EQ(integer("140000000000000000000000000000002a"), 42);
    const auto half = PropertyList::fromBinary(RawList{{hex("223f000000")}}.bytes());
    ASSERT_TRUE(half);
    EXPECT_EQ(*half.value().as<double>(), 0.5);
}

TEST(PropertyListTest, DamageIsAnErrorThatSaysWhat) {
    const QByteArray good = PropertyList(PropertyList::Array{PropertyList(u"text"_s)}).toBinary();
    const QByteArray scalar = hex("09");
    std::vector<std::pair<const char*, QByteArray>> cases{
        {"empty", {}},
        {"only a header", "bplist00"},
        {"text", "<?xml version=\"1.0\"?><plist version=\"1.0\"><array></array></plist>       "},
        {"other magic", "bplisu00" + good.sliced(8)},
        {"no objects", RawList{{}}.bytes()},
        {"list in itself", RawList{{hex("a100")}}.bytes()},
        {"list in itself, two steps", RawList{{hex("a101"), hex("a100")}}.bytes()},
        {"dictionary in itself", RawList{{hex("d10100"), hex("5161")}}.bytes()},
        {"reference beyond the table", RawList{{hex("a105")}}.bytes()},
        {"key that is a number", RawList{{hex("d10102"), hex("1001"), scalar}}.bytes()},
        {"two equal keys", RawList{{hex("d201020303"), hex("5161"), hex("5161"), scalar}}.bytes()},
        {"data beyond the objects", RawList{{hex("4561")}}.bytes()},
        {"length that overflows", RawList{{hex("4f13ffffffffffffffff")}}.bytes()},
        {"text length that overflows when doubled", RawList{{hex("6f138000000000000001") + "a"}}.bytes()},
        {"list length that overflows when doubled", RawList{{hex("df138000000000000001") + "a"}}.bytes()},
        {"length that is no integer", RawList{{hex("4f5161")}}.bytes()},
        {"length of sixteen bytes", RawList{{hex("4f1400")}}.bytes()},
        {"integer of 32 bytes", RawList{{hex("15") + QByteArray(32, '\0')}}.bytes()},
        {"integer too large", RawList{{hex("1401000000000000000000000000000000")}}.bytes()},
        {"real of two bytes", RawList{{hex("210000")}}.bytes()},
        {"date of four bytes", RawList{{hex("3200000000")}}.bytes()},
        {"high bytes in plain text", RawList{{hex("52c3a4")}}.bytes()},
        {"reference of nine bytes", RawList{{hex("88") + QByteArray(9, '\0')}}.bytes()},
        {"unknown kind", RawList{{hex("70")}}.bytes()},
        {"set", RawList{{hex("c0")}}.bytes()},
        {"fill byte", RawList{{hex("0f")}}.bytes()},
        {"top beyond the objects", RawList{.objects = {scalar}, .top = 1}.bytes()},
        {"more objects than table", RawList{.objects = {scalar}, .objectCount = 2}.bytes()},
        {"count that overflows", RawList{.objects = {scalar}, .objectCount = 1ull << 63}.bytes()},
        {"offsets of no bytes", RawList{.objects = {scalar}, .offsetWidth = 0}.bytes()},
        {"offsets of nine bytes", RawList{.objects = {scalar}, .offsetWidth = 9}.bytes()},
        {"references of no bytes", RawList{.objects = {scalar}, .referenceWidth = 0}.bytes()},
        {"table in the header", RawList{.objects = {scalar}, .tableOffset = 4}.bytes()},
        {"table beyond the end", RawList{.objects = {scalar}, .tableOffset = ~0ull}.bytes()},
        {"object in the header", RawList{.objects = {scalar}, .offsets = {{0, 3}}}.bytes()},
        {"object in the table", RawList{.objects = {scalar}, .offsets = {{0, 9}}}.bytes()},
    };
    for (qsizetype length = 8; length < good.size(); ++length)
        cases.emplace_back("cut short", good.first(length));

    for (const auto& [name, bytes] : cases) {
        const auto read = PropertyList::fromBinary(bytes);
        ASSERT_FALSE(read) << name << ' ' << bytes.toHex().constData();
        EXPECT_FALSE(read.error().userText.isEmpty()) << name;
    }
}

TEST(PropertyListTest, ObjectsThatOverlapCannotMultiplyTheWork) {
    // Each of 200 objects claims the same 250 references.
    RawList list;
    QByteArray top = hex("af10c8");
    for (int i = 1; i <= 200; ++i)
        top.append(static_cast<char>(i));
    list.objects.push_back(top);
    list.objects.push_back(hex("af10fa") + QByteArray(250, '\xc9'));
    for (std::size_t i = 2; i <= 200; ++i) {
        list.objects.emplace_back();
        list.offsets[i] = static_cast<std::uint64_t>(8 + top.size());
    }
    list.objects.push_back(hex("09"));
    EXPECT_FALSE(PropertyList::fromBinary(list.bytes()));
}

} // namespace
} // namespace korvane
