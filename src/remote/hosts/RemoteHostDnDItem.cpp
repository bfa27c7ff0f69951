#include "remote/hosts/RemoteHostDnDItem.h"

#include "foundation/archive/ArchiveFormat.h"
#include "foundation/archive/FieldTable.h"

#include <QCoreApplication>

#include <limits>

namespace korvane {

using namespace archiveformat;

namespace {

const QString itemClass = QStringLiteral("RemoteHostDnDItem");

Status readIndex(RemoteHostDnDItem& item, const KeyedDecoder& decoder, const QString& key) {
    const Result<qint64> index = decoder.decode<qint64>(key);
    if (!index)
        return index.error();
    if (index.value() < 0 || index.value() > std::numeric_limits<std::int32_t>::max())
        return Error{static_cast<int>(ArchiveFault::wrongKind), QStringLiteral("KeyedArchive"),
                     QCoreApplication::translate("RemoteArchive", "“%1” is no place in a list").arg(key)};
    item.hostIndex = static_cast<std::int32_t>(index.value());
    return success();
}

const auto itemFields =
    FieldTable<RemoteHostDnDItem>()
        .required(RemoteHostDnDItem::GROUP_NAME_KEY, &RemoteHostDnDItem::groupName)
        .field(RemoteHostDnDItem::HOST_IDX_KEY, &RemoteHostDnDItem::hostIndex, &readIndex);

const ArchiveClasses& itemClasses() {
    static const ArchiveClasses all = [] {
        ArchiveClasses classes;
        classes.add<RemoteHostDnDItem>(modulePrefix + itemClass, [](const KeyedDecoder& decoder) {
            return itemFields.decoded(decoder, std::make_shared<RemoteHostDnDItem>());
        });
        return classes;
    }();
    return all;
}

} // namespace

static QStringList archivedClassChain(const RemoteHostDnDItem&) {
    return {mangledClassName(itemClass), rootClass};
}

static void encode(const RemoteHostDnDItem& item, KeyedEncoder& encoder) {
    itemFields.encode(item, encoder);
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
