#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

namespace korvane {

/// The string values of a property list whose root is a dictionary, in XML or in the binary form. Values of
/// other kinds are left out; empty when the bytes are no such list, or damaged anywhere. External entities
/// are never fetched. Any thread.
QHash<QString, QString> shareTemplate(const QByteArray& propertyList);

} // namespace korvane
