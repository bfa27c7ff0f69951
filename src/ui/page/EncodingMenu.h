#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <QMenu>

class QActionGroup;

namespace korvane {

/// The encodings in which a file can be shown. Main thread.
class EncodingMenu : public QMenu {
    Q_OBJECT

public:
    explicit EncodingMenu(QWidget* parent = nullptr);

    /// Checks the entry of the encoding in effect.
    void setChoice(EncodingChoice choice);
    void setChoosable(bool choosable);

Q_SIGNALS:
    void chosen(EncodingChoice choice);

private:
    void add(const QString& text, EncodingChoice choice);

    QActionGroup* group_;
};

} // namespace korvane
