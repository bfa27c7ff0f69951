#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

namespace korvane {

class MainWindowController;

/// Renders the window of a document to a picture once its rows are loaded, or it is clear that there will be
/// none, and reports the result.
class Snapshot : public QObject {
    Q_OBJECT

public:
    /// `isComplete`: whether all of the file has been read. `done` gets an empty text, or the fault: of the
    /// file (the picture then shows the part that was read), or of writing the picture.
    Snapshot(MainWindowController& page, QString pngPath, std::function<bool()> isComplete,
             std::function<void(QString)> done);

private:
    void tryToRender();
    bool showsFullView() const;
    /// There are no rows, or none that can be requested.
    bool isWithoutRows() const;

    MainWindowController& page_;
    const QString pngPath_;
    const std::function<bool()> isComplete_;
    const std::function<void(QString)> done_;
    bool hasRows_ = false;
    QTimer timer_;
};

} // namespace korvane
