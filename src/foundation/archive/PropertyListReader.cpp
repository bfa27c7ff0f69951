#include "foundation/archive/PropertyList.h"

#include <QCoreApplication>

#include <algorithm>
#include <bit>
#include <optional>

namespace korvane {
namespace {

// File format: "bplist00", the objects, a table of their offsets, a trailer of 32 bytes. Integers are
// big-endian.
constexpr std::uint64_t headerSize = 8;
constexpr std::uint64_t trailerSize = 32;

/// Objects refer to each other by number; each is read once, without recursion.
class Reader {
public:
    explicit Reader(const QByteArray& bytes)
        : bytes_(reinterpret_cast<const unsigned char*>(bytes.constData())),
          size_(static_cast<std::uint64_t>(bytes.size())) {}

    Result<PropertyList> read() {
        if (readTrailer() && visit(topObject_) && readOpenContainers())
            return parsed_[slots_[topObject_] - firstSlot];
        return Error{1, QStringLiteral("PropertyList"),
                     QCoreApplication::translate("PropertyList", "the data is damaged (%1)")
                         .arg(QLatin1String(fault_))};
    }

private:
    /// A container whose children are being read.
    struct Container {
        std::uint64_t object = 0;
        std::uint64_t references = 0; // offset
        std::uint64_t referenceCount = 0;
        std::uint64_t next = 0;
        bool isDictionary = false;
        std::uint16_t levels = 1;
    };
    struct Marker {
        unsigned kind = 0;
        std::uint64_t count = 0;
        std::uint64_t content = 0; // offset
    };

    bool fail(const char* fault) {
        fault_ = fault;
        return false;
    }

    std::uint64_t integerAt(std::uint64_t offset, std::uint64_t width) const {
        std::uint64_t value = 0;
        for (std::uint64_t i = 0; i < width; ++i)
            value = value << 8 | bytes_[offset + i];
        return value;
    }

    bool readTrailer() {
        if (size_ < headerSize + trailerSize + 1)
            return fail("too short");
        if (QByteArrayView(bytes_, 7) != QByteArrayView("bplist0"))
            return fail("no binary property list");
        const std::uint64_t trailer = size_ - trailerSize;
        offsetWidth_ = bytes_[trailer + 6];
        referenceWidth_ = bytes_[trailer + 7];
        objectCount_ = integerAt(trailer + 8, 8);
        topObject_ = integerAt(trailer + 16, 8);
        offsetTable_ = integerAt(trailer + 24, 8);
        if (offsetWidth_ < 1 || offsetWidth_ > 8 || referenceWidth_ < 1 || referenceWidth_ > 8)
            return fail("width of numbers");
        if (offsetTable_ <= headerSize || offsetTable_ > trailer)
            return fail("place of the table");
        if (objectCount_ < 1 || objectCount_ > (trailer - offsetTable_) / offsetWidth_ ||
            objectCount_ > inProgress - firstSlot)
            return fail("number of objects");
        if (topObject_ >= objectCount_)
            return fail("top object");
        slots_.resize(objectCount_, unread);
        return true;
    }

    /// Checks that `width` times `count` bytes from `offset` on belong to the objects, and deducts them from
    /// the budget. Objects of a valid list never overlap: a total larger than the file is an attack.
    bool take(std::uint64_t offset, std::uint64_t count, std::uint64_t width) {
        if (offset > offsetTable_ || count > (offsetTable_ - offset) / width)
            return fail("object beyond the end");
        taken_ += count * width;
        return taken_ <= size_ || fail("overlapping objects");
    }

    bool readMarker(std::uint64_t offset, Marker& marker) {
        if (offset < headerSize || !take(offset, 1, 1))
            return fail("offset of an object");
        marker.kind = bytes_[offset] >> 4;
        marker.count = bytes_[offset] & 0xf;
        marker.content = offset + 1;
        const bool hasLength = marker.kind >= 4 && marker.kind != 8;
        if (!hasLength || marker.count != 0xf)
            return true;
        if (!take(marker.content, 1, 1) || bytes_[marker.content] >> 4 != 1)
            return fail("length of an object");
        const unsigned exponent = bytes_[marker.content] & 0xf;
        const std::uint64_t width = std::uint64_t(1) << exponent;
        if (exponent > 3 || !take(marker.content + 1, 1, width))
            return fail("length of an object");
        marker.count = integerAt(marker.content + 1, width);
        marker.content += 1 + width;
        return true;
    }

    /// Reads an object that was not read before; opens a container.
    bool visit(std::uint64_t object) {
        Marker marker;
        if (!readMarker(integerAt(offsetTable_ + object * offsetWidth_, offsetWidth_), marker))
            return false;
        if (marker.kind == 0xa || marker.kind == 0xd)
            return open(object, marker);
        std::optional<PropertyList> value = scalar(marker);
        if (!value)
            return false;
        keep(object, std::move(*value), 0);
        return true;
    }

    bool open(std::uint64_t object, const Marker& marker) {
        const bool isDictionary = marker.kind == 0xd;
        if (!take(marker.content, marker.count, referenceWidth_ * (isDictionary ? 2 : 1)))
            return false;
        if (containers_.size() >= PropertyList::mostLevels)
            return fail("too deep");
        slots_[object] = inProgress;
        containers_.push_back(
            {object, marker.content, marker.count * (isDictionary ? 2U : 1U), 0, isDictionary, 1});
        return true;
    }

    void keep(std::uint64_t object, PropertyList value, std::uint16_t levels) {
        slots_[object] = static_cast<std::uint32_t>(parsed_.size()) + firstSlot;
        parsed_.push_back(std::move(value));
        levels_.push_back(levels);
    }

    bool readOpenContainers() {
        while (!containers_.empty()) {
            Container& container = containers_.back();
            if (container.next == container.referenceCount) {
                if (!close())
                    return false;
                continue;
            }
            const std::uint64_t child = reference(container, container.next);
            if (child >= objectCount_)
                return fail("reference to no object");
            if (slots_[child] == inProgress)
                return fail("a container that holds itself");
            if (slots_[child] == unread) {
                if (!visit(child))
                    return false;
                continue; // `container` may have moved; the child counts when it is complete
            }
            ++container.next;
            const int levels = levels_[slots_[child] - firstSlot] + 1;
            if (levels > PropertyList::mostLevels)
                return fail("too deep");
            container.levels = std::max(container.levels, static_cast<std::uint16_t>(levels));
        }
        return true;
    }

    std::uint64_t reference(const Container& container, std::uint64_t index) const {
        return integerAt(container.references + index * referenceWidth_, referenceWidth_);
    }
    const PropertyList& child(const Container& container, std::uint64_t index) const {
        return parsed_[slots_[reference(container, index)] - firstSlot];
    }

    bool close() {
        const Container container = containers_.back();
        containers_.pop_back();
        if (!container.isDictionary) {
            PropertyList::Array array;
            array.reserve(container.referenceCount);
            for (std::uint64_t i = 0; i < container.referenceCount; ++i)
                array.push_back(child(container, i));
            keep(container.object, PropertyList(std::move(array)), container.levels);
            return true;
        }
        const std::uint64_t count = container.referenceCount / 2;
        std::vector<PropertyListDictionary::Entry> entries;
        entries.reserve(count);
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto* key = child(container, i).as<QString>();
            if (!key)
                return fail("a key that is no text");
            entries.emplace_back(*key, child(container, count + i));
        }
        PropertyListDictionary dictionary(std::move(entries));
        if (dictionary.hasDuplicateKeys())
            return fail("two values of one key");
        keep(container.object, PropertyList(std::move(dictionary)), container.levels);
        return true;
    }

    std::optional<PropertyList> scalar(const Marker& marker) {
        switch (marker.kind) {
        case 0x0:
            return constant(marker.count);
        case 0x1:
            return integer(marker);
        case 0x2:
        case 0x3:
            return real(marker);
        case 0x4:
            if (!take(marker.content, marker.count, 1))
                return std::nullopt;
            return PropertyList(QByteArray(reinterpret_cast<const char*>(bytes_ + marker.content),
                                           static_cast<qsizetype>(marker.count)));
        case 0x5:
            return asciiText(marker);
        case 0x6:
            return utf16Text(marker);
        case 0x8:
            if (marker.count > 7 || !take(marker.content, marker.count + 1, 1))
                break;
            return PropertyList(PropertyList::Uid{integerAt(marker.content, marker.count + 1)});
        default:
            break;
        }
        fail("an object of no known kind");
        return std::nullopt;
    }

    std::optional<PropertyList> constant(std::uint64_t which) {
        if (which == 0)
            return PropertyList();
        if (which == 8 || which == 9)
            return PropertyList(which == 9);
        fail("an object of no known kind");
        return std::nullopt;
    }

    std::optional<PropertyList> integer(const Marker& marker) {
        const std::uint64_t width = std::uint64_t(1) << marker.count;
        if (marker.count > 4 || !take(marker.content, 1, width)) {
            fail("width of an integer");
            return std::nullopt;
        }
        // Eight bytes are signed, fewer are unsigned; sixteen hold values too large for eight.
        if (width < 16) {
            const std::uint64_t value = integerAt(marker.content, width);
            return width == 8 ? PropertyList(static_cast<std::int64_t>(value)) : PropertyList(value);
        }
        if (integerAt(marker.content, 8) != 0) {
            fail("an integer too large");
            return std::nullopt;
        }
        return PropertyList(integerAt(marker.content + 8, 8));
    }

    std::optional<PropertyList> real(const Marker& marker) {
        const bool isDate = marker.kind == 0x3;
        const std::uint64_t width = std::uint64_t(1) << marker.count;
        if ((width != 8 && (width != 4 || isDate)) || !take(marker.content, 1, width)) {
            fail("width of a number");
            return std::nullopt;
        }
        const std::uint64_t bits = integerAt(marker.content, width);
        const double value = width == 8 ? std::bit_cast<double>(bits)
                                        : double(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
        return isDate ? PropertyList(PropertyList::Date{value}) : PropertyList(value);
    }

    std::optional<PropertyList> asciiText(const Marker& marker) {
        if (!take(marker.content, marker.count, 1))
            return std::nullopt;
        const unsigned char* const text = bytes_ + marker.content;
        if (std::any_of(text, text + marker.count, [](unsigned char byte) { return byte > 0x7f; })) {
            fail("a text that is no ASCII");
            return std::nullopt;
        }
        return PropertyList(
            QString::fromLatin1(reinterpret_cast<const char*>(text), static_cast<qsizetype>(marker.count)));
    }

    std::optional<PropertyList> utf16Text(const Marker& marker) {
        if (!take(marker.content, marker.count, 2))
            return std::nullopt;
        QString text(static_cast<qsizetype>(marker.count), Qt::Uninitialized);
        for (std::uint64_t i = 0; i < marker.count; ++i)
            text[static_cast<qsizetype>(i)] =
                QChar(static_cast<char16_t>(integerAt(marker.content + 2 * i, 2)));
        return PropertyList(std::move(text));
    }

    static constexpr std::uint32_t unread = 0;
    static constexpr std::uint32_t firstSlot = 1;
    static constexpr std::uint32_t inProgress = 0xffffffff;

    const unsigned char* const bytes_;
    const std::uint64_t size_;
    std::uint64_t offsetWidth_ = 0;
    std::uint64_t referenceWidth_ = 0;
    std::uint64_t objectCount_ = 0;
    std::uint64_t topObject_ = 0;
    std::uint64_t offsetTable_ = 0;
    std::uint64_t taken_ = 0;
    const char* fault_ = "";

    /// For each object: not read, being read, or the place of its value in `parsed_`.
    std::vector<std::uint32_t> slots_;
    std::vector<PropertyList> parsed_;
    std::vector<std::uint16_t> levels_;
    std::vector<Container> containers_;
};

} // namespace

Result<PropertyList> PropertyList::fromBinary(const QByteArray& bytes) {
    return Reader(bytes).read();
}

} // namespace korvane
