#pragma once

#include <QWidget>

class QLineEdit;

namespace korvane {

/// The path of a key file, typed or picked. Main thread.
class KeyFileField : public QWidget {
    Q_OBJECT

public:
    /// `name`: names the file in the picker's title and for screen readers.
    explicit KeyFileField(const QString& name, QWidget* parent = nullptr);

    /// Trimmed; a typed "~" is replaced by the home directory.
    QString path() const;
    void setPath(const QString& path);

Q_SIGNALS:
    void changed();
    /// The path is complete: picked, or the field was left after typing.
    void entered();

private:
    void pickFile();

    const QString name_;
    QLineEdit* path_;
};

} // namespace korvane
