#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

namespace korvane {

/// The string values of a property list whose root is a dictionary, in XML or in the binary form. Values of
/// other kinds are left out; empty for whatever is no such list, or is damaged anywhere. Nothing outside of
/// the bytes is ever fetched. Any thread.
QHash<QString, QString> shareTemplate(const QByteArray& propertyList);

} // namespace korvane
