#include "remote/RemoteFileNode.h"

namespace korvane {

QString RemoteFileNode::name() const {
    // Called often by a model of ten thousands of entries.
    const qsizetype end = path.endsWith(u'/') ? path.size() - 1 : path.size();
    if (end <= 0)
        return QStringLiteral("/");
    return path.sliced(path.lastIndexOf(u'/', end - 1) + 1).first(end - path.lastIndexOf(u'/', end - 1) - 1);
}

QString RemoteFileNode::pathOf(const QString& entryName) const {
    return path.endsWith(u'/') ? path + entryName : path + u'/' + entryName;
}

} // namespace korvane
