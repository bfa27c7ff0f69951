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
    /// Elements that could not be read, and parts of the objects that could not.
    int leftOut = 0;
};

/// Fails when the data is no archive of a list. Objects and parts that were shared are shared again.
/// `faultText`: an element of the right class that does not decode is a failure with that text, "%1" in it
/// replaced by the element's number and "%2" by the fault; unless the fault is `ArchiveFault::unusable`.
/// Without it such elements are left out, as those of other classes always are.
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

/// Moves what was read to where it is kept; answers the count of what was left out.
template <typename T>
Result<int> takeList(Result<UnarchivedList<T>> read, std::vector<std::shared_ptr<T>>& objects) {
    if (!read)
        return read.error();
    objects = std::move(read.value().objects);
    return read.value().leftOut;
}

} // namespace korvane
