#pragma once

#include "documents/AppDocumentController.h"

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

class MainWindow;
class MainWindowController;

/// Makes, finds and closes the windows of documents: as tabs of one window, or each in its own. Main thread.
class WindowManager : public DocumentWindowFactory {
public:
    explicit WindowManager(AlertPresenter& alerts);
    ~WindowManager() override;

    /// Handed in after construction, since the two need each other; must outlive the windows.
    void setDocumentController(AppDocumentController& documents) { documents_ = &documents; }
    /// Called for every window before it is shown.
    void setPrepareWindow(std::function<void(MainWindow&)> prepare) { prepareWindow_ = std::move(prepare); }

    void makeWindow(const std::shared_ptr<Document>& document) override;
    void raiseWindow(const std::shared_ptr<Document>& document) override;
    void closeWindow(const std::shared_ptr<Document>& document) override;
    void goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) override;

    /// A window without a document, unless there is a window already.
    void showEmptyWindow();
    MainWindowController* pageOf(const Document& document) const;
    /// Tells the user something in the footer of the page in front.
    void showUserUpdate(const QString& text);
    /// Has the desktop point at the window of the file, or at the one last used, unless it is in front.
    void requestAttention(const QString& fileUrl);
    /// Closes every window without asking.
    void closeAll();

private:
    MainWindow& addWindow();
    /// Where a new document goes: the window last used, or a new one.
    MainWindow& windowForNewPage();
    /// The active window, else the last used one; null if there is none.
    MainWindow* frontWindow() const;

    AlertPresenter& alerts_;
    AppDocumentController* documents_ = nullptr;
    std::function<void(MainWindow&)> prepareWindow_;
    /// Not owned: a window deletes itself when closed. The last used one last.
    std::vector<MainWindow*> windows_;
};

} // namespace korvane
