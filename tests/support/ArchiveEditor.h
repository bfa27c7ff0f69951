#pragma once

#include "foundation/archive/ArchiveFormat.h"
#include "foundation/archive/PropertyList.h"

#include <gtest/gtest.h>

#include <QRegularExpression>

#include <algorithm>
#include <optional>

namespace korvane::test {

/// Takes a keyed archive apart, to write it in ways in which the program's archiver never would.
class ArchiveEditor {
public:
    explicit ArchiveEditor(const QByteArray& archive)
        : top_(PropertyList::fromBinary(archive).value().dictionary()->entries()),
          objects_(*field(top_, archiveformat::objectsKey).array()) {}

    /// The null object; an object of an unknown class; a value of a kind that no class has.
    static PropertyList null() { return PropertyList(PropertyList::Uid{0}); }
    static PropertyList stranger() { return objectOf(QStringLiteral("Korvane.Stranger")); }
    static PropertyList real() { return PropertyList(0.5); }
    static PropertyList number(std::int64_t value) { return PropertyList(value); }
    static PropertyList text(const QString& value) { return PropertyList(value); }

    /// Replaces or removes the field of the first object of the class; `className`: without its module.
    ArchiveEditor& setField(const QString& className, const QString& key,
                            const std::optional<PropertyList>& value) {
        const auto isOfClass = [&](const PropertyList& object) {
            return object.dictionary() && nameOf(object).endsWith(className);
        };
        const auto object = std::ranges::find_if(objects_, isOfClass);
        if (object != objects_.end())
            *object = with(*object, key, value);
        else
            ADD_FAILURE() << "no object of the class " << className.toStdString();
        return *this;
    }
    /// Adds two objects of unknown classes to the root, a list or dictionary.
    ArchiveEditor& addStrangersToRoot() {
        for (const QString& key : {archiveformat::objectsOfContainer, archiveformat::keysOfContainer}) {
            if (const PropertyList* const list = objects_[1].dictionary()->value(key)) {
                PropertyList::Array elements = *list->array();
                elements.insert(elements.end(), {stranger(), stranger()});
                objects_[1] = with(objects_[1], key, PropertyList(elements));
            }
        }
        return *this;
    }
    /// Writes the program's plain class names in the mangled form, and vice versa.
    ArchiveEditor& swapFormsOfClassNames() {
        using namespace archiveformat;
        for (PropertyList& object : objects_) {
            const PropertyListDictionary* const fields = object.dictionary();
            const PropertyList* const name = fields ? fields->value(classNameKey) : nullptr;
            if (!name)
                continue;
            QString other = *name->as<QString>();
            if (other.startsWith(modulePrefix))
                other = mangledClassName(other.sliced(modulePrefix.size()));
            else if (other.startsWith(mangledModulePrefix))
                other = modulePrefix +
                        other.sliced(other.lastIndexOf(QRegularExpression(QStringLiteral("\\d"))) + 1);
            object = with(object, classNameKey, text(other));
        }
        return *this;
    }
    ArchiveEditor& setVersion(int version) {
        field(top_, archiveformat::versionKey) = number(version);
        return *this;
    }

    QByteArray archive() const {
        auto top = top_;
        field(top, archiveformat::objectsKey) = PropertyList(objects_);
        return PropertyList(PropertyListDictionary(top)).toBinary();
    }

private:
    using Fields = std::vector<PropertyListDictionary::Entry>;

    static PropertyList objectOf(const QString& className) {
        const PropertyListDictionary description({{archiveformat::classNameKey, text(className)}});
        return PropertyList(PropertyListDictionary({{archiveformat::classKey, PropertyList(description)}}));
    }
    static PropertyList& field(Fields& fields, const QString& key) {
        return std::ranges::find(fields, key, &PropertyListDictionary::Entry::first)->second;
    }
    static PropertyList with(const PropertyList& object, const QString& key,
                             const std::optional<PropertyList>& value) {
        Fields fields = object.dictionary()->entries();
        std::erase_if(fields, [&](const auto& each) { return each.first == key; });
        if (value)
            fields.emplace_back(key, *value);
        return PropertyList(PropertyListDictionary(fields));
    }
    QString nameOf(const PropertyList& object) const {
        const PropertyList* const reference = object.dictionary()->value(archiveformat::classKey);
        const auto* uid = reference ? reference->as<PropertyList::Uid>() : nullptr;
        return uid ? *objects_[uid->value].dictionary()->value(archiveformat::classNameKey)->as<QString>()
                   : QString();
    }

    Fields top_;
    PropertyList::Array objects_;
};

} // namespace korvane::test
