#include "remote/RemoteFileNode.h"

#include <QStringList>

namespace korvane {

QString RemoteFileNode::name() const {
    const QStringList components = path.split(u'/', Qt::SkipEmptyParts);
    return components.isEmpty() ? QStringLiteral("/") : components.last();
}

QString RemoteFileNode::pathOf(const QString& entryName) const {
    return path.endsWith(u'/') ? path + entryName : path + u'/' + entryName;
}

} // namespace korvane
