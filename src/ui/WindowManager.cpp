#include "ui/WindowManager.h"

#include "core/NotificationNames.h"
#include "core/Preferences.h"
#include "documents/Document.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "ui/FilterRulesEditor.h"
#include "ui/LogViewController.h"
#include "ui/MainWindow.h"
#include "ui/MainWindowController.h"

#include <QApplication>
#include <QPointer>

#include <algorithm>

namespace korvane {

WindowManager::WindowManager(AlertPresenter& alerts) : alerts_(alerts) {
    for (const QString& name :
         {notification::filterManager, notification::activeRulesChanged, notification::documentLoaded})
        tokens_.push_back(
            NotificationCenter::shared().observe(name, [this](const Notification&) { tellStoreFault(); }));
}

WindowManager::~WindowManager() {
    for (MainWindow* window : std::exchange(windows_, {}))
        delete window;
}

MainWindow& WindowManager::addWindow() {
    auto* window = new MainWindow(*documents_);
    windows_.push_back(window);
    QObject::connect(window, &MainWindow::aboutToClose, window, [this, window] {
        std::erase(windows_, window);
        if (windows_.empty() && rulesEditor_)
            rulesEditor_->close();
    });
    QObject::connect(window, &MainWindow::activated, window, [this, window] {
        if (std::erase(windows_, window) > 0)
            windows_.push_back(window);
        showPageInRulesEditor(*window);
    });
    QObject::connect(window, &MainWindow::rulesEditorRequested, window,
                     [this, window](const QString& newRuleText) { editRules(*window, newRuleText); });
    QObject::connect(window, &MainWindow::currentPageChanged, window,
                     [this, window] { showPageInRulesEditor(*window); });
    return *window;
}

MainWindow& WindowManager::windowForNewPage() {
    for (auto window = windows_.rbegin(); window != windows_.rend(); ++window) {
        if (Preferences::shared().useTabs() || (*window)->pages().empty())
            return **window;
    }
    return addWindow();
}

void WindowManager::makeWindow(const std::shared_ptr<Document>& document) {
    MainWindow& window = windowForNewPage();
    auto* page = new MainWindowController(document, alerts_, &window);
    QObject::connect(page, &MainWindowController::loadCancelled, page, [this, document] {
        // After the button's own click has been dealt with.
        QMetaObject::invokeMethod(
            documents_ ? pageOf(*document) : nullptr,
            [this, document] { documents_->closeDocument(document); }, Qt::QueuedConnection);
    });
    window.addPage(page);
    window.show();
    window.raisePage(page);
}

void WindowManager::raiseWindow(const std::shared_ptr<Document>& document) {
    for (MainWindow* window : windows_) {
        if (MainWindowController* page = window->pageOf(*document))
            window->raisePage(page);
    }
}

void WindowManager::closeWindow(const std::shared_ptr<Document>& document) {
    for (MainWindow* window : std::vector(windows_)) {
        if (!window->removePage(*document))
            continue;
        // The last window stays, empty, so that another file can be opened in it.
        if (window->pages().empty() && windows_.size() > 1)
            window->close();
    }
}

void WindowManager::goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) {
    if (MainWindowController* page = pageOf(*document))
        page->logView().goToLineWhenKnown(lineNumber);
}

void WindowManager::showEmptyWindow() {
    if (windows_.empty())
        addWindow().show();
}

MainWindowController* WindowManager::pageOf(const Document& document) const {
    for (const MainWindow* window : windows_) {
        if (MainWindowController* page = window->pageOf(document))
            return page;
    }
    return nullptr;
}

void WindowManager::editRules(MainWindow& window, const QString& newRuleText) {
    if (!rulesEditor_)
        rulesEditor_ = std::make_unique<FilterRulesEditor>(alerts_);
    showPageInRulesEditor(window);
    rulesEditor_->show();
    rulesEditor_->raise();
    rulesEditor_->activateWindow();
    if (!newRuleText.isEmpty())
        rulesEditor_->addRule(newRuleText);
}

void WindowManager::showPageInRulesEditor(const MainWindow& window) {
    if (!rulesEditor_)
        return;
    QPointer<MainWindowController> page(window.currentPage());
    rulesEditor_->setDocument(page ? page->document() : nullptr, [page] {
        return page && !page->document()->isClosed() ? page->logView().visibleLines() : QStringList();
    });
}

void WindowManager::tellStoreFault() {
    QString fault = FiltersManager::shared().fault();
    if (fault.isEmpty())
        fault = FilterRulesMemento::shared().fault();
    if (fault != std::exchange(toldFault_, fault) && !fault.isEmpty())
        showUserUpdate(fault);
}

void WindowManager::showUserUpdate(const QString& text) {
    const MainWindow* window = windows_.empty() ? nullptr : windows_.back();
    if (MainWindowController* page = window ? window->currentPage() : nullptr)
        page->showUserUpdate(text);
}

void WindowManager::requestAttention(const QString& fileUrl) {
    QWidget* window = windows_.empty() ? nullptr : windows_.back();
    const auto document = documents_->documentForUrl(QUrl::fromEncoded(fileUrl.toUtf8(), QUrl::StrictMode));
    if (MainWindowController* page = document ? pageOf(*document) : nullptr)
        window = page->window();
    if (window)
        QApplication::alert(window);
}

void WindowManager::closeAll() {
    rulesEditor_.reset();
    for (MainWindow* window : std::vector(windows_))
        window->close();
}

} // namespace korvane
