#include "foundation/archive/PropertyList.h"

#include <QHash>

#include <algorithm>
#include <bit>
#include <unordered_map>

namespace korvane {
namespace {

std::uint64_t bytesFor(std::uint64_t largest) {
    return largest <= 0xff ? 1 : largest <= 0xffff ? 2 : largest <= 0xffffffff ? 4 : 8;
}

/// Numbers the objects level by level, then writes them in that order. Equal texts and references, and
/// containers used several times, are written once.
class Writer {
public:
    QByteArray write(const PropertyList& root) {
        numberOf(root);
        // NOLINTNEXTLINE(modernize-loop-convert): each object appends its children.
        for (std::size_t i = 0; i < objects_.size(); ++i)
            numberChildren(objects_[i]);

        referenceWidth_ = bytesFor(objects_.size());
        out_ = "bplist00";
        std::vector<std::uint64_t> offsets;
        offsets.reserve(objects_.size());
        const std::uint64_t* references = references_.data();
        for (const Object& object : objects_) {
            offsets.push_back(static_cast<std::uint64_t>(out_.size()));
            references += writeObject(object, references);
        }
        writeEnd(offsets);
        return out_;
    }

private:
    /// A value, or a key of a dictionary.
    struct Object {
        const PropertyList* value = nullptr;
        const QString* key = nullptr;
    };

    std::uint64_t append(Object object) {
        objects_.push_back(object);
        return objects_.size() - 1;
    }

    std::uint64_t numberOfText(const QString& text, Object object) {
        const auto known = texts_.constFind(text);
        if (known != texts_.cend())
            return *known;
        return *texts_.insert(text, append(object));
    }

    std::uint64_t numberOf(const PropertyList& value) {
        if (const auto* text = value.as<QString>())
            return numberOfText(*text, {&value, nullptr});
        if (const auto* uid = value.as<PropertyList::Uid>()) {
            const auto [entry, isNew] = uids_.try_emplace(uid->value, objects_.size());
            return isNew ? append({&value, nullptr}) : entry->second;
        }
        if (!value.isContainer())
            return append({&value, nullptr});
        const void* const content =
            value.array() ? static_cast<const void*>(value.array()) : value.dictionary();
        const auto [entry, isNew] = containers_.try_emplace(content, objects_.size());
        return isNew ? append({&value, nullptr}) : entry->second;
    }

    void numberChildren(Object object) {
        if (!object.value)
            return;
        if (const auto* array = object.value->array()) {
            for (const PropertyList& element : *array)
                references_.push_back(numberOf(element));
        } else if (const auto* dictionary = object.value->dictionary()) {
            for (const auto& [key, value] : dictionary->entries())
                references_.push_back(numberOfText(key, {nullptr, &key}));
            for (const auto& [key, value] : dictionary->entries())
                references_.push_back(numberOf(value));
        }
    }

    void writeNumber(std::uint64_t value, std::uint64_t width) {
        for (std::uint64_t i = width; i-- > 0;)
            out_.append(static_cast<char>(value >> (8 * i)));
    }

    void writeInteger(std::uint64_t value, std::uint64_t width) {
        out_.append(static_cast<char>(0x10 | std::countr_zero(width)));
        writeNumber(value, width);
    }

    void writeMarker(unsigned kind, qsizetype count) {
        out_.append(static_cast<char>(kind << 4 | std::min<qsizetype>(count, 0xf)));
        if (count >= 0xf)
            writeInteger(static_cast<std::uint64_t>(count), bytesFor(static_cast<std::uint64_t>(count)));
    }

    void writeText(const QString& text) {
        const bool isAscii =
            std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
        writeMarker(isAscii ? 0x5 : 0x6, text.size());
        for (const QChar c : text)
            writeNumber(c.unicode(), isAscii ? 1 : 2);
    }

    void writeReferences(const std::uint64_t* references, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            writeNumber(references[i], referenceWidth_);
    }

    /// Returns how many of the `references` belong to the object.
    std::size_t writeObject(const Object& object, const std::uint64_t* references) {
        if (object.key) {
            writeText(*object.key);
            return 0;
        }
        const PropertyList& value = *object.value;
        if (const auto* array = value.array()) {
            writeMarker(0xa, static_cast<qsizetype>(array->size()));
            writeReferences(references, array->size());
            return array->size();
        }
        if (const auto* dictionary = value.dictionary()) {
            const std::size_t count = dictionary->entries().size();
            writeMarker(0xd, static_cast<qsizetype>(count));
            writeReferences(references, 2 * count);
            return 2 * count;
        }
        writeScalar(value);
        return 0;
    }

    void writeScalar(const PropertyList& value) {
        if (const auto* text = value.as<QString>()) {
            writeText(*text);
        } else if (const auto* truth = value.as<bool>()) {
            out_.append(*truth ? '\x09' : '\x08');
        } else if (const auto* integer = value.as<std::int64_t>()) {
            const auto bits = static_cast<std::uint64_t>(*integer);
            writeInteger(bits, *integer < 0 ? 8 : bytesFor(bits));
        } else if (const auto* large = value.as<std::uint64_t>()) {
            out_.append('\x14'); // sixteen bytes, as eight are signed
            writeNumber(0, 8);
            writeNumber(*large, 8);
        } else if (const auto* real = value.as<double>()) {
            out_.append('\x23');
            writeNumber(std::bit_cast<std::uint64_t>(*real), 8);
        } else if (const auto* date = value.as<PropertyList::Date>()) {
            out_.append('\x33');
            writeNumber(std::bit_cast<std::uint64_t>(date->seconds), 8);
        } else if (const auto* data = value.as<QByteArray>()) {
            writeMarker(0x4, data->size());
            out_.append(*data);
        } else if (const auto* uid = value.as<PropertyList::Uid>()) {
            const std::uint64_t width = bytesFor(uid->value);
            out_.append(static_cast<char>(0x80 | (width - 1)));
            writeNumber(uid->value, width);
        } else {
            out_.append('\0');
        }
    }

    void writeEnd(const std::vector<std::uint64_t>& offsets) {
        const auto table = static_cast<std::uint64_t>(out_.size());
        const std::uint64_t offsetWidth = bytesFor(table);
        for (const std::uint64_t offset : offsets)
            writeNumber(offset, offsetWidth);
        out_.append(6, '\0');
        writeNumber(offsetWidth, 1);
        writeNumber(referenceWidth_, 1);
        writeNumber(offsets.size(), 8);
        writeNumber(0, 8);
        writeNumber(table, 8);
    }

    std::vector<Object> objects_;
    /// The references of all containers, in the order of the objects.
    std::vector<std::uint64_t> references_;
    QHash<QString, std::uint64_t> texts_;
    std::unordered_map<std::uint64_t, std::uint64_t> uids_;
    std::unordered_map<const void*, std::uint64_t> containers_;
    std::uint64_t referenceWidth_ = 1;
    QByteArray out_;
};

} // namespace

QByteArray PropertyList::toBinary() const {
    return Writer().write(*this);
}

} // namespace korvane
