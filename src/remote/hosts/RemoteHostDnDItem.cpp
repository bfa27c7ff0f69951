#include "remote/hosts/RemoteHostDnDItem.h"

#include "foundation/archive/ArchiveFormat.h"
#include "foundation/archive/KeyedArchiver.h"
#include "foundation/archive/KeyedUnarchiver.h"

#include <QCoreApplication>

#include <limits>

namespace korvane {

using namespace archiveformat;

namespace {

const QString itemClass = QStringLiteral("RemoteHostDnDItem");

Result<std::shared_ptr<RemoteHostDnDItem>> decodeItem(const KeyedDecoder& decoder) {
    const Result<QString> groupName = decoder.decodeText(RemoteHostDnDItem::GROUP_NAME_KEY);
    if (!groupName)
        return groupName.error();
    const Result<qint64> index = decoder.decodeInteger(RemoteHostDnDItem::HOST_IDX_KEY);
    if (!index)
        return index.error();
    if (index.value() < 0 || index.value() > std::numeric_limits<std::int32_t>::max())
        return Error{static_cast<int>(ArchiveFault::wrongKind), QStringLiteral("KeyedArchive"),
                     QCoreApplication::translate("RemoteArchive", "“%1” is no place in a list")
                         .arg(RemoteHostDnDItem::HOST_IDX_KEY)};
    return std::make_shared<RemoteHostDnDItem>(
        RemoteHostDnDItem{groupName.value(), static_cast<std::int32_t>(index.value())});
}

const ArchiveClasses& itemClasses() {
    static const ArchiveClasses all = [] {
        ArchiveClasses classes;
        classes.add<RemoteHostDnDItem>(modulePrefix + itemClass, &decodeItem);
        return classes;
    }();
    return all;
}

} // namespace

static QStringList archivedClassChain(const RemoteHostDnDItem&) {
    return {mangledClassName(itemClass), rootClass};
}

static void encode(const RemoteHostDnDItem& item, KeyedEncoder& encoder) {
    encoder.encode(RemoteHostDnDItem::GROUP_NAME_KEY, item.groupName);
    encoder.encodeInteger(RemoteHostDnDItem::HOST_IDX_KEY, item.hostIndex);
}

QByteArray RemoteHostDnDItem::archived() const {
    KeyedArchiver archiver;
    return archiver.archivedData(archiver.add(std::make_shared<const RemoteHostDnDItem>(*this)));
}

Result<RemoteHostDnDItem> RemoteHostDnDItem::fromArchive(const QByteArray& archive) {
    const auto unarchiver = KeyedUnarchiver::open(archive, itemClasses());
    if (!unarchiver)
        return unarchiver.error();
    const auto item = unarchiver.value()->root().object<RemoteHostDnDItem>();
    if (!item)
        return item.error();
    return *item.value();
}

} // namespace korvane
