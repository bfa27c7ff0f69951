#pragma once

#include <QFrame>

#include <vector>

class QLineEdit;
class QListWidget;

namespace korvane {

/// A list of all files open in a window, with a field that filters it by name and folder. Closes when a file
/// is chosen or the user clicks elsewhere; deletes itself then. Main thread.
class OpenFilesList : public QFrame {
    Q_OBJECT

public:
    struct File {
        QString name;
        QString place;
        bool isMissing = false;
    };

    /// `current`: the index of the file selected at first.
    OpenFilesList(const std::vector<File>& files, int current, QWidget* parent);

    /// Opens the list below the right end of the anchor, within its window.
    void showBelow(const QWidget& anchor);

Q_SIGNALS:
    /// The index of the file among those given.
    void chosen(int index);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void filter(const QString& text);
    void choose();

    QLineEdit* field_;
    QListWidget* list_;
};

} // namespace korvane
