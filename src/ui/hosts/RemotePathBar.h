#pragma once

#include <QWidget>

class QHBoxLayout;

namespace korvane {

/// The components of a directory's path as buttons, the first of them titled "/". Main thread.
class RemotePathBar : public QWidget {
    Q_OBJECT

public:
    explicit RemotePathBar(QWidget* parent = nullptr);

    void setPath(const QString& path);

Q_SIGNALS:
    /// A component was clicked; `path` leads to it.
    void pathChosen(const QString& path);

private:
    void addComponent(const QString& title, const QString& path);

    QHBoxLayout* layout_;
};

} // namespace korvane
