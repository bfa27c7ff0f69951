#pragma once

#include "foundation/UserDefaults.h"
#include "ui/FileExistence.h"

#include <QWidget>

class QCheckBox;
class QLabel;
class QListWidget;

namespace korvane {

class AppDocumentController;

/// What the program shows without a document: ways to open one, and the files opened last. Main thread.
class WelcomeWindow : public QWidget {
    Q_OBJECT

public:
    /// `documents` must outlive the window.
    explicit WelcomeWindow(AppDocumentController& documents);

    /// The remote files opened last, as the store has them: the oldest first.
    void setRemoteFiles(const QStringList& urls);

Q_SIGNALS:
    void preferencesRequested();
    void quitRequested();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QWidget* makeActions();
    QListWidget* makeList(const QString& name);
    void showRecentFiles();
    void fill(QListWidget& list, const QStringList& urls);

    AppDocumentController& documents_;
    QListWidget* recent_;
    QLabel* remoteTitle_;
    QListWidget* remote_;
    QLabel* noFiles_;
    QCheckBox* showAtStart_ = nullptr;
    FileExistence existence_;
    UserDefaults::Token token_;
};

} // namespace korvane
