#pragma once

#include "documents/AppDocumentController.h"
#include "foundation/NotificationCenter.h"

#include <memory>
#include <vector>

namespace korvane {

class FilterRulesEditor;
class MainWindow;
class MainWindowController;

/// Makes, finds and closes the windows of documents: as tabs of one window, or each in its own. Main thread.
class WindowManager : public DocumentWindowFactory {
public:
    explicit WindowManager(AlertPresenter& alerts);
    ~WindowManager() override;

    /// Handed in after construction, since the two need each other; must outlive the windows.
    void setDocumentController(AppDocumentController& documents) { documents_ = &documents; }

    void makeWindow(const std::shared_ptr<Document>& document) override;
    void raiseWindow(const std::shared_ptr<Document>& document) override;
    void closeWindow(const std::shared_ptr<Document>& document) override;
    void goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) override;

    /// A window without a document, unless there is a window already.
    void showEmptyWindow();
    MainWindowController* pageOf(const Document& document) const;
    /// Shows the rules editor, if wanted with a new rule for a text.
    void editRules(MainWindow& window, const QString& newRuleText);
    /// Tells the user something in the footer of the page in front.
    void showUserUpdate(const QString& text);
    /// Has the desktop point at the window of the file, or at the one last used, unless it is in front.
    void requestAttention(const QString& fileUrl);
    /// Closes every window without asking.
    void closeAll();

private:
    MainWindow& addWindow();
    /// Says once what went wrong with the rule files.
    void tellStoreFault();
    /// The rules editor follows the page in front.
    void showPageInRulesEditor(const MainWindow& window);
    /// Where a new document goes: the window last used, or a new one.
    MainWindow& windowForNewPage();

    AlertPresenter& alerts_;
    AppDocumentController* documents_ = nullptr;
    /// Not owned: a window deletes itself when closed. The last used one last.
    std::vector<MainWindow*> windows_;
    std::unique_ptr<FilterRulesEditor> rulesEditor_;
    /// What the user has been told of the rule files already.
    QString toldFault_;
    std::vector<NotificationToken> tokens_;
};

} // namespace korvane
