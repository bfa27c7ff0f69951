#pragma once

#include "foundation/archive/KeyedArchiver.h"
#include "foundation/archive/KeyedUnarchiver.h"

#include <memory>
#include <vector>

namespace korvane {

/// The objects of an archive whose root is a list.
template <typename T>
struct UnarchivedList {
    std::vector<std::shared_ptr<T>> objects;
    /// Number of elements, and parts of objects, that could not be read.
    int leftOut = 0;
};

/// Reads an archive of a list; fails on any other data. Shared objects and parts are shared again.
/// `faultText`: if given, an element of the right class that does not decode is a failure with this text,
/// "%1" replaced by the element's number and "%2" by the fault; except for `ArchiveFault::unusable`.
/// Otherwise such elements are left out, as elements of other classes always are.
template <typename T>
Result<UnarchivedList<T>> unarchiveList(const QByteArray& archive, const ArchiveClasses& classes,
                                        const QString& faultText = {}) {
    const auto unarchiver = KeyedUnarchiver::open(archive, classes);
    if (!unarchiver)
        return unarchiver.error();
    const auto elements = unarchiver.value()->root().elements();
    if (!elements)
        return elements.error();
    UnarchivedList<T> list;
    int number = 0;
    for (const ArchivedObject& element : elements.value()) {
        ++number;
        Result<std::shared_ptr<T>> object = element.object<T>();
        if (object) {
            list.objects.push_back(std::move(object).value());
            continue;
        }
        const Error& fault = object.error();
        if (!faultText.isEmpty() && element.is<T>() && fault.code != static_cast<int>(ArchiveFault::unusable))
            return Error{fault.code, fault.domain, faultText.arg(number).arg(fault.userText)};
        element.leaveOut();
    }
    list.leftOut = unarchiver.value()->leftOut();
    return list;
}

template <typename T>
QByteArray archiveList(const std::vector<std::shared_ptr<T>>& objects) {
    KeyedArchiver archiver;
    return archiver.archivedData(
        archiver.addArray(objects, [&archiver](const auto& object) { return archiver.add(object); }));
}

/// Moves the objects read to `objects`; returns the number of those left out.
template <typename T>
Result<int> takeList(Result<UnarchivedList<T>> read, std::vector<std::shared_ptr<T>>& objects) {
    if (!read)
        return read.error();
    objects = std::move(read.value().objects);
    return read.value().leftOut;
}

} // namespace korvane
