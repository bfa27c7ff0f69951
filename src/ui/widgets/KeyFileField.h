#pragma once

#include <QWidget>

class QLineEdit;

namespace korvane {

/// The path of a key file, typed or picked. Main thread.
class KeyFileField : public QWidget {
    Q_OBJECT

public:
    /// `name`: what the file is, for the picker's title and for screen readers.
    explicit KeyFileField(const QString& name, QWidget* parent = nullptr);

    /// Without blanks around it; "~" stands for the home directory when it is typed.
    QString path() const;
    void setPath(const QString& path);

Q_SIGNALS:
    void changed();
    /// The path is whole for now: picked, or left after typing.
    void entered();

private:
    void pickFile();

    const QString name_;
    QLineEdit* path_;
};

} // namespace korvane
