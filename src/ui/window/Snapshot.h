#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

namespace korvane {

class MainWindowController;

/// Renders the window of a document to a picture as soon as its rows are there, or it is clear that none will
/// come, and says when it is done.
class Snapshot : public QObject {
    Q_OBJECT

public:
    /// `isComplete`: whether all of the file is there. `done` gets an empty text, or what went wrong: with
    /// the file, of which the picture then shows what there is, or with the picture.
    Snapshot(MainWindowController& page, QString pngPath, std::function<bool()> isComplete,
             std::function<void(QString)> done);

private:
    void tryToRender();
    bool showsFullView() const;
    /// No rows, or none that can still be asked for.
    bool isWithoutRows() const;

    MainWindowController& page_;
    const QString pngPath_;
    const std::function<bool()> isComplete_;
    const std::function<void(QString)> done_;
    bool hasRows_ = false;
    QTimer timer_;
};

} // namespace korvane
