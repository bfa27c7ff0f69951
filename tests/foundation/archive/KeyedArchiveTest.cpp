#include "foundation/archive/FieldTable.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

/// A class that can contain itself.
struct Node {
    QString name = {};
    std::shared_ptr<Node> next = {};
};

QStringList archivedClassChain(const Node&) {
    return {u"Korvane.Node"_s, u"NSObject"_s};
}

Status readNext(Node& node, const KeyedDecoder& decoder, const QString& key) {
    if (!decoder.value(key))
        return success();
    const auto next = decoder.decode<std::shared_ptr<Node>>(key);
    if (!next)
        return next.error();
    node.next = next.value();
    return success();
}

const auto nodeFields =
    FieldTable<Node>().required(u"name"_s, &Node::name).field(u"next"_s, &Node::next, &readNext);

void encode(const Node& node, KeyedEncoder& encoder) {
    nodeFields.encode(node, encoder);
}

const ArchiveClasses& classes() {
    static const ArchiveClasses all = [] {
        ArchiveClasses made;
        made.add<Node>(u"Korvane.Node"_s, [](const KeyedDecoder& decoder) {
            return nodeFields.decoded(decoder, std::make_shared<Node>());
        });
        return made;
    }();
    return all;
}

using Fields = std::vector<PropertyListDictionary::Entry>;

PropertyList dictionary(Fields fields) {
    return PropertyList(PropertyListDictionary(std::move(fields)));
}
PropertyList array(PropertyList::Array elements) {
    return PropertyList(std::move(elements));
}
PropertyList uid(std::uint64_t value) {
    return PropertyList(PropertyList::Uid{value});
}
PropertyList text(const QString& value) {
    return PropertyList(value);
}
PropertyList classOf(const QString& name, const QString& superclass = u"NSObject"_s) {
    return dictionary(
        {{u"$classname"_s, text(name)}, {u"$classes"_s, array({text(name), text(superclass)})}});
}
/// `classUid`: number of the class among the archive's objects.
PropertyList object(std::uint64_t classUid, Fields fields) {
    fields.emplace_back(u"$class"_s, uid(classUid));
    return dictionary(std::move(fields));
}

/// An archive of these objects, made without the archiver; the first object, number 1, is the root.
QByteArray archiveOf(const PropertyList::Array& objects) {
    PropertyList::Array table{text(u"$null"_s)};
    table.insert(table.end(), objects.begin(), objects.end());
    return dictionary({{u"$archiver"_s, text(u"NSKeyedArchiver"_s)},
                       {u"$version"_s, PropertyList(std::int64_t(100000))},
                       {u"$top"_s, dictionary({{u"root"_s, uid(1)}})},
                       {u"$objects"_s, array(table)}})
        .toBinary();
}

/// Opens an archive of these objects, which must succeed.
std::unique_ptr<KeyedUnarchiver> opened(const PropertyList::Array& objects) {
    auto unarchiver = KeyedUnarchiver::open(archiveOf(objects), classes());
    EXPECT_TRUE(unarchiver) << unarchiver.error().userText.toStdString();
    return std::move(unarchiver).value();
}

ArchiveFault faultOf(const Error& error) {
    EXPECT_EQ(error.domain, u"KeyedArchive"_s);
    EXPECT_FALSE(error.userText.isEmpty());
    return static_cast<ArchiveFault>(error.code);
}

TEST(KeyedArchiveTest, EveryColourComponentSurvivesExactly) {
    for (int i = 0; i <= 0xff; ++i) {
        for (const QColor& color : {QColor(i, 255 - i, i / 2, i),
                                    QColor::fromRgba64(static_cast<quint16>(i * 251 + 7), 1, 65535, 65535)}) {
            KeyedArchiver archiver;
            const auto unarchiver =
                KeyedUnarchiver::open(archiver.archivedData(archiver.add(color)), classes());
            EXPECT_EQ(unarchiver.value()->root().color().value(), color) << i;
        }
    }
}

TEST(KeyedArchiveTest, ColoursOfThePlatformsSpaces) {
    const QColor fault;
    const std::tuple<std::int64_t, const char*, QByteArray, QColor> cases[] = {
        {1, "NSRGB", QByteArray("1 0 0\0", 6), QColor(255, 0, 0)},
        {1, "NSRGB", "0 0.5490196347 0", QColor(0, 140, 0)},
        {1, "NSRGB", QByteArray("0 0 1 0.2\0", 10), QColor(0, 0, 255, 51)},
        {2, "NSRGB", "0.2 0.4 0.6 1", QColor(51, 102, 153)},
        {2, "NSComponents", "0.2 0.4 0.6 1", QColor(51, 102, 153)},
        {3, "NSWhite", QByteArray("0.2\0", 4), QColor(51, 51, 51)},
        {4, "NSWhite", "1 0.2", QColor(255, 255, 255, 51)},
        {4, "NSComponents", "0 1", QColor(0, 0, 0)},
        {1, "NSRGB", "1.5 -0.25 0", QColor(255, 0, 0)},
        {1, "NSWhite", "1", fault},
        {3, "NSRGB", "1 1 1", fault},
        {1, "NSRGB", "1 1", fault},
        {1, "NSRGB", "1 1 1 1 1", fault},
        {1, "NSRGB", "1 1 red", fault},
        {1, "NSRGB", "1 1 nan", fault},
        {1, "NSRGB", "1 1 1e999", fault},
        {1, "NSRGB", QByteArray("1 1 \0 1", 7), fault},
        {1, "NSRGB", "", fault},
        {5, "NSCMYK", "0 0 0 1", fault},
        {6, "NSRGB", "1 1 1", fault},
        {0, "NSRGB", "1 1 1", fault},
    };
    for (const auto& [space, key, components, expected] : cases) {
        SCOPED_TRACE(std::to_string(space) + ' ' + components.toStdString());
        const auto unarchiver = opened({object(2, {{u"NSColorSpace"_s, PropertyList(space)},
                                                   {QLatin1String(key), PropertyList(components)}}),
                                        classOf(u"NSColor"_s)});
        const Result<QColor> color = unarchiver->root().color();
        ASSERT_EQ(bool(color), expected.isValid());
        if (color)
            EXPECT_EQ(color.value().rgba(), expected.rgba());
        else
            EXPECT_EQ(faultOf(color.error()), ArchiveFault::wrongKind);
    }
}

TEST(KeyedArchiveTest, ClassNamesInPlainAndMangledForm) {
    const QStringList known{u"Korvane.Node"_s, u"_TtC7Korvane4Node"_s};
    const QStringList unknown =
        u"Node _TtC7Korvane5Node _TtC7KorvaneNode _TtC7Korvane04Nod _TtC7Korvane4Nodes _TtC7Korvane "
        u"Other.Node "
        "_TtC5Other4Node korvane.Node Korvane.Node2 _TtC7Korvane99999999999Node"_s.split(u' ');
    for (const QString& name : known + unknown) {
        const bool isKnown = known.contains(name);
        const auto unarchiver = opened({object(2, {{u"name"_s, uid(3)}}), classOf(name), text(u"n"_s)});
        SCOPED_TRACE(name.toStdString());
        EXPECT_EQ(unarchiver->root().is<Node>(), isKnown);
        const auto node = unarchiver->root().object<Node>();
        ASSERT_EQ(bool(node), isKnown);
        EXPECT_TRUE(node || faultOf(node.error()) == ArchiveFault::unknownClass);
    }
}

TEST(KeyedArchiveTest, TextAndListsInEveryFormOfThePlatform) {
    const auto unarchiver = opened({
        object(2, {{u"NS.objects"_s, array({uid(3), uid(4), uid(6), text(u"inline"_s)})}}),
        classOf(u"SomeDeferredArray"_s, u"NSArray"_s),
        text(u"plain"_s),
        object(5, {{u"NS.string"_s, text(u"wrapped"_s)}}),
        classOf(u"NSMutableString"_s, u"NSString"_s),
        object(7, {{u"NS.string"_s, uid(3)}}),
        classOf(u"NSString"_s),
    });
    const auto elements = unarchiver->root().elements();
    ASSERT_TRUE(elements);
    QStringList texts;
    for (const ArchivedObject& element : elements.value())
        texts.append(element.text().value());
    EXPECT_EQ(texts, QStringList({u"plain"_s, u"wrapped"_s, u"plain"_s, u"inline"_s}));
}

TEST(KeyedArchiveTest, UrlIsResolvedAgainstItsBases) {
    const auto url = [](std::uint64_t base, std::uint64_t relative) {
        return object(2, {{u"NS.base"_s, uid(base)}, {u"NS.relative"_s, uid(relative)}});
    };
    const auto unarchiver =
        opened({url(4, 3), classOf(u"NSURL"_s), text(u"c.log"_s), url(0, 5), text(u"file:///a/b"_s)});
    EXPECT_EQ(unarchiver->root().url().value(), QUrl(u"file:///a/c.log"_s));
    EXPECT_FALSE(opened({url(1, 3), classOf(u"NSURL"_s), text(u"c"_s)})->root().url()); // its own base

    const QUrl written(u"ssh://u@h:22/a%20b%ff"_s);
    KeyedArchiver archiver;
    const auto own = KeyedUnarchiver::open(archiver.archivedData(archiver.add(written)), classes());
    EXPECT_EQ(own.value()->root().url().value(), written);
}

TEST(KeyedArchiveTest, FaultsHaveTheirKindAndPlace) {
    const PropertyList nodeClass = classOf(u"Korvane.Node"_s);
    const auto faultWith = [&](const Fields& fields, const PropertyList& third) {
        const auto node = opened({object(2, fields), nodeClass, third})->root().object<Node>();
        EXPECT_FALSE(node);
        return node ? Error() : node.error();
    };
    const Error missing = faultWith({}, {});
    EXPECT_EQ(faultOf(missing), ArchiveFault::missingKey);
    EXPECT_TRUE(missing.userText.contains(u"name"_s));
    EXPECT_EQ(faultOf(faultWith({{u"name"_s, uid(0)}}, {})), ArchiveFault::missingKey);
    EXPECT_EQ(faultOf(faultWith({{u"name"_s, uid(3)}}, PropertyList(true))), ArchiveFault::wrongKind);
    const Error unknown =
        faultWith({{u"name"_s, text(u"n"_s)}, {u"next"_s, object(3, {})}}, classOf(u"Korvane.Stranger"_s));
    EXPECT_EQ(faultOf(unknown), ArchiveFault::unknownClass);
    EXPECT_TRUE(unknown.userText.contains(u"next"_s) && unknown.userText.contains(u"Stranger"_s));
    // An object that contains itself.
    EXPECT_EQ(faultOf(faultWith({{u"name"_s, text(u"n"_s)}, {u"next"_s, uid(1)}}, {})),
              ArchiveFault::damaged);
}

TEST(KeyedArchiveTest, ReferencesThatLeadNowhereAreDamage) {
    const auto opens = [](const PropertyList::Array& objects) {
        return bool(KeyedUnarchiver::open(archiveOf(objects), classes()));
    };
    EXPECT_FALSE(opens({}));
    EXPECT_FALSE(opens({dictionary({{u"name"_s, uid(2)}})}));
    EXPECT_FALSE(opens({dictionary({{u"NS.objects"_s, array({uid(0), uid(9)})}})}));
    EXPECT_TRUE(opens({dictionary({{u"name"_s, uid(1)}})}));
    // References deeper than in a well-formed archive: no object, and no crash.
    const auto unarchiver = opened({dictionary({{u"$class"_s, dictionary({{u"$class"_s, uid(99)}})}})});
    EXPECT_FALSE(unarchiver->root().object<Node>());
    const PropertyList next = object(2, {{u"name"_s, object(77, {})}});
    const auto inlineObject =
        opened({object(2, {{u"name"_s, text(u"n"_s)}, {u"next"_s, next}}), classOf(u"Korvane.Node"_s)});
    EXPECT_FALSE(inlineObject->root().object<Node>());
}

TEST(KeyedArchiveTest, ListsThatStandInManyPlacesCannotMultiply) {
    // A thousand keys, each for the same list of a thousand elements.
    constexpr std::size_t many = 1000;
    const PropertyList::Array keys(many, uid(4));
    const PropertyList::Array lists(many, uid(2));
    const PropertyList::Array elements(many, uid(4));
    const auto unarchiver = opened({object(5, {{u"NS.keys"_s, array(keys)}, {u"NS.objects"_s, array(lists)}}),
                                    object(3, {{u"NS.objects"_s, array(elements)}}), classOf(u"NSArray"_s),
                                    text(u"x"_s), classOf(u"NSDictionary"_s)});
    const auto entries = unarchiver->root().entries();
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries.value().size(), many);
    EXPECT_TRUE(entries.value().front().second.elements());
    std::size_t handedOut = 0;
    for (const auto& entry : entries.value()) {
        if (const auto list = entry.second.elements())
            handedOut += list.value().size();
    }
    EXPECT_LT(handedOut, many * many / 2);
}

} // namespace
} // namespace korvane
