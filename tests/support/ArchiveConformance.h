#pragma once

#include "foundation/archive/ArchivedList.h"
#include "support/ArchiveEditor.h"
#include "support/Golden.h"

#include <gtest/gtest.h>
#include <random>

namespace korvane::test {

using namespace Qt::StringLiterals;

/// Expected result when a field of the first object is written with another value.
enum class Outcome {
    /// The archive is refused with a text that names object and field.
    Fails,
    /// The object is left out and counted; the second one is read.
    Drops,
    /// The object is read, and the lost part is counted.
    Counts,
    /// The object is read, and nothing is lost.
    Keeps,
};

struct FieldCase {
    QString className;
    QStringList keys;
    /// Written in place of the right value; nullopt removes the field.
    std::vector<std::optional<PropertyList>> values;
    Outcome outcome;
    /// Text of the object's description that `after` replaces ("%1": the key). Empty: the description only
    /// has to differ.
    QString before = {};
    QString after = {};
};

inline std::vector<std::optional<PropertyList>> absent() {
    return {std::nullopt, ArchiveEditor::null()};
}
inline std::vector<std::optional<PropertyList>> wrong() {
    return {ArchiveEditor::stranger(), ArchiveEditor::real()};
}
inline std::vector<std::optional<PropertyList>> absentOrWrong() {
    return {std::nullopt, ArchiveEditor::null(), ArchiveEditor::stranger(), ArchiveEditor::real()};
}

/// Changes some bytes, as damage or an attacker would.
class Mutator {
public:
    explicit Mutator(std::uint32_t seed) : random_(seed) {}

    QByteArray mutated(QByteArray bytes) {
        for (int rounds = 1 + below(4); rounds > 0; --rounds)
            mutate(bytes);
        return bytes;
    }

private:
    int below(qsizetype limit) { return static_cast<int>(random_() % static_cast<std::uint32_t>(limit)); }

    void mutate(QByteArray& bytes) {
        if (bytes.isEmpty())
            return;
        constexpr qsizetype trailer = 32;
        constexpr char telling[] = {'\x00', '\x01', '\x0f', '\x10', '\x14', '\x7f',
                                    '\x80', '\xa1', '\xaf', '\xd1', '\xff'};
        const qsizetype place = below(bytes.size());
        switch (below(8)) {
        case 0:
            bytes[place] = static_cast<char>(bytes[place] ^ (1 << below(8)));
            break;
        case 1:
            bytes[place] = telling[below(sizeof telling)];
            break;
        case 2:
            bytes[place] = static_cast<char>(bytes[place] + below(3) - 1);
            break;
        case 3:
            bytes.insert(place, bytes.mid(below(bytes.size()), below(16)));
            break;
        case 4:
            bytes.remove(place, below(16));
            break;
        case 5:
            bytes.replace(place, 4, bytes.mid(below(bytes.size()), 4));
            break;
        case 6: // the trailer holds the position of everything
            if (bytes.size() >= trailer)
                bytes[bytes.size() - 1 - below(trailer)] = telling[below(sizeof telling)];
            break;
        default:
            if (below(20) == 0)
                bytes.truncate(place);
            break;
        }
    }

    std::mt19937 random_;
};

/// Tests of the archive of lists of one class. A Format has
///   using Object;
///   static Objects sample();                        // every field, shared parts; the first again at the end
///   static QByteArray archive(const Objects&);
///   static Result<UnarchivedList<Object>> unarchive(const QByteArray&);
///   static QString description(const Object&);      // all archived fields
///   static const void* sharedPart(const Object&);   // a part that objects may share, or null
///   static std::vector<FieldCase> fieldCases();
///   static QString golden();                        // file with the archive of the sample
///   static QByteArray stable(QByteArray archive);   // the archive without its random parts
template <typename Format>
class ArchiveConformance : public ::testing::Test {
protected:
    using Objects = std::vector<std::shared_ptr<typename Format::Object>>;

    static QStringList descriptions(const Objects& objects) {
        QStringList all;
        for (const auto& object : objects)
            all.append(Format::description(*object));
        return all;
    }
    /// The objects, all of which must be read.
    static Objects readWhole(const QByteArray& archive) {
        auto read = Format::unarchive(archive);
        EXPECT_TRUE(read) << (read ? "" : read.error().userText.toStdString());
        EXPECT_EQ(read ? read.value().leftOut : 0, 0);
        return read ? std::move(read).value().objects : Objects();
    }
    static void expectOutcome(const FieldCase& each, const QString& key, const QByteArray& archive) {
        const auto read = Format::unarchive(archive);
        ASSERT_EQ(bool(read), each.outcome != Outcome::Fails);
        if (!read) {
            EXPECT_TRUE(read.error().userText.contains(u" 1: ") &&
                        read.error().userText.contains(u'“' + key + u'”'))
                << read.error().userText.toStdString();
            return;
        }
        EXPECT_EQ(read.value().leftOut, each.outcome == Outcome::Keeps ? 0 : 1)
            << "what is lost must be told";
        QStringList expected = descriptions({Format::sample()[0], Format::sample()[1]});
        const QStringList found = descriptions(read.value().objects);
        if (each.outcome == Outcome::Drops)
            EXPECT_EQ(found, expected.sliced(1));
        else if (each.before.isEmpty())
            EXPECT_NE(found.first(), expected.first());
        else
            EXPECT_EQ(found.first(), expected.first().replace(QString(each.before).replace(u"%1"_s, key),
                                                              QString(each.after).replace(u"%1"_s, key)));
    }
};

TYPED_TEST_SUITE_P(ArchiveConformance);

TYPED_TEST_P(ArchiveConformance, TheFormatStays) {
    expectGolden(TypeParam::golden(), TypeParam::stable(TypeParam::archive(TypeParam::sample())));
}

TYPED_TEST_P(ArchiveConformance, EverythingSurvivesAndWhatIsSharedStaysShared) {
    const auto sample = TypeParam::sample();
    const auto read = this->readWhole(TypeParam::archive(sample));
    ASSERT_EQ(this->descriptions(read), this->descriptions(sample));
    for (std::size_t i = 0; i < sample.size(); ++i) {
        for (std::size_t j = 0; j < sample.size(); ++j) {
            EXPECT_EQ(read[i] == read[j], sample[i] == sample[j]) << i << ' ' << j;
            EXPECT_EQ(TypeParam::sharedPart(*read[i]) == TypeParam::sharedPart(*read[j]),
                      TypeParam::sharedPart(*sample[i]) == TypeParam::sharedPart(*sample[j]))
                << i << ' ' << j;
        }
    }
}

TYPED_TEST_P(ArchiveConformance, BothFormsOfClassNamesAreRead) {
    const QByteArray archive = TypeParam::archive(TypeParam::sample());
    EXPECT_EQ(this->descriptions(this->readWhole(ArchiveEditor(archive).swapFormsOfClassNames().archive())),
              this->descriptions(TypeParam::sample()));
}

TYPED_TEST_P(ArchiveConformance, OneFieldIsWrittenOtherwise) {
    const QByteArray sound = TypeParam::archive({TypeParam::sample()[0], TypeParam::sample()[1]});
    for (const FieldCase& each : TypeParam::fieldCases()) {
        for (const QString& key : each.keys) {
            for (std::size_t i = 0; i < each.values.size(); ++i) {
                SCOPED_TRACE((each.className + u'.' + key).toStdString() + " " + std::to_string(i));
                this->expectOutcome(
                    each, key, ArchiveEditor(sound).setField(each.className, key, each.values[i]).archive());
            }
        }
    }
}

TYPED_TEST_P(ArchiveConformance, OnlyAListIsARoot) {
    KeyedArchiver ofObject;
    EXPECT_FALSE(TypeParam::unarchive(ofObject.archivedData(ofObject.add(TypeParam::sample()[0]))));
    KeyedArchiver ofNull;
    EXPECT_FALSE(TypeParam::unarchive(ofNull.archivedData(KeyedArchiver::null())));
    EXPECT_FALSE(TypeParam::unarchive("garbage"));
    EXPECT_TRUE(this->readWhole(TypeParam::archive({})).empty());
    const auto strangers = TypeParam::unarchive(
        ArchiveEditor(TypeParam::archive({TypeParam::sample()[0]})).addStrangersToRoot().archive());
    ASSERT_TRUE(strangers);
    EXPECT_EQ(strangers.value().leftOut, 2);
    EXPECT_EQ(strangers.value().objects.size(), 1U);
}

TYPED_TEST_P(ArchiveConformance, DamagedArchivesAreRefusedOrReadWhole) {
    const QByteArray sound = TypeParam::archive(TypeParam::sample());
    const int wanted = qEnvironmentVariableIntValue("KORVANE_FUZZ_ROUNDS");
    const int rounds = wanted > 0 ? wanted : 10'000;
    Mutator mutator(20'240'229);
    int refused = 0;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray bytes = mutator.mutated(sound);
        const auto read = TypeParam::unarchive(bytes);
        if (!read) {
            ++refused;
            ASSERT_FALSE(read.error().userText.isEmpty()) << bytes.toHex().constData();
            continue;
        }
        ASSERT_EQ(this->descriptions(this->readWhole(TypeParam::archive(read.value().objects))),
                  this->descriptions(read.value().objects))
            << bytes.toHex().constData();
    }
    EXPECT_GT(refused, rounds / 10);
    EXPECT_LT(refused, rounds - rounds / 10);
}

REGISTER_TYPED_TEST_SUITE_P(ArchiveConformance, TheFormatStays, EverythingSurvivesAndWhatIsSharedStaysShared,
                            BothFormsOfClassNamesAreRead, OneFieldIsWrittenOtherwise, OnlyAListIsARoot,
                            DamagedArchivesAreRefusedOrReadWhole);

} // namespace korvane::test
