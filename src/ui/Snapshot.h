#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

namespace korvane {

class MainWindowController;

/// Renders the window of a document to a picture as soon as its rows are there, and says when it is done.
class Snapshot : public QObject {
    Q_OBJECT

public:
    /// `isComplete`: whether all of the file is there. `done` gets an empty text, or what went wrong.
    Snapshot(MainWindowController& page, QString pngPath, std::function<bool()> isComplete,
             std::function<void(QString)> done);

private:
    void tryToRender();

    MainWindowController& page_;
    const QString pngPath_;
    const std::function<bool()> isComplete_;
    const std::function<void(QString)> done_;
    bool hasRows_ = false;
    QTimer timer_;
};

} // namespace korvane
