#include "ui/rules/FilterRulesEditor.h"

#include "core/Preferences.h"
#include "core/TailDataSourceProtocol.h"
#include "core/search/SearchItem.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "foundation/notices/Alerts.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/RuleSwitch.h"
#include "ui/rules/RuleForm.h"
#include "ui/rules/RuleImport.h"
#include "ui/rules/RuleItemDelegate.h"
#include "ui/rules/SlowRules.h"
#include "ui/widgets/Contrast.h"
#include "ui/widgets/WidgetIds.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>

namespace korvane {
namespace {

constexpr QSize firstSize(820, 560);
constexpr int listWidth = 320;
/// Characters.
constexpr qsizetype longestToolTip = 1000;
constexpr auto visibleLinesInterval = std::chrono::milliseconds(200);

std::shared_ptr<FilterRule> copyOf(const FilterRule& rule) {
    auto item = std::make_shared<SearchItem>(rule.searchItem()->searchStr());
    item->setRegex(rule.searchItem()->regex());
    item->setIgnoreCase(rule.searchItem()->ignoreCase());
    const HighlightRule& look = *rule.highlightRule();
    auto highlight = std::make_shared<HighlightRule>(look.bold(), look.italic(), look.underline(),
                                                     look.foreground(), look.background());
    highlight->setUseViewBackground(look.useViewBackground());
    return std::make_shared<FilterRule>(rule.hide(), item, highlight, rule.notificationRule());
}

} // namespace

FilterRulesEditor::FilterRulesEditor(AlertPresenter& alerts, QWidget* parent)
    : QDialog(parent), alerts_(alerts) {
    setWindowTitle(tr("Filter Rules"));
    resize(firstSize);
    auto* splitter = new QSplitter(this);
    splitter->addWidget(makeList());
    form_ = new RuleForm(splitter);
    splitter->addWidget(form_);
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({listWidth, firstSize.width() - listWidth});
    splitter->setChildrenCollapsible(false);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    // Return acts on the search text, not on a button.
    buttons->button(QDialogButtonBox::Close)->setAutoDefault(false);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(splitter, 1);
    layout->addWidget(makeDocumentRow());
    layout->addWidget(buttons);

    connect(form_, &RuleForm::ruleChanged, this, [this](const auto& rule) { ruleEdited(rule); });
    connect(&visibleLinesTimer_, &QTimer::timeout, this, [this] { followVisibleLines(); });
    subscriptions_.push_back(FiltersManager::shared().changed().subscribe(
        [this](const auto&) { handleFiltersManagerNotification(); }));
    subscriptions_.push_back(
        FilterRulesMemento::shared().activeRulesChanged().subscribe([this](const QString& key) {
            if (key == docKey())
                handleFiltersManagerNotification();
        }));
    showRules();
    list_->setCurrentRow(0);
}

QWidget* FilterRulesEditor::makeList() {
    auto* side = new QWidget(this);
    list_ = new QListWidget(side);
    list_->setAccessibleName(tr("Rules"));
    list_->setUniformItemSizes(true);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff); // long texts are elided
    list_->setItemDelegate(new RuleItemDelegate(list_));
    auto* add = new QPushButton(tr("&Add"), side);
    duplicate_ = new QPushButton(tr("Du&plicate"), side);
    delete_ = new QPushButton(tr("&Delete"), side);
    auto* importButton = new QPushButton(tr("I&mport…"), side);
    auto* exportButton = new QPushButton(tr("&Export…"), side);
    auto* edit = new QHBoxLayout;
    auto* exchange = new QHBoxLayout;
    for (QPushButton* button : {add, duplicate_, delete_})
        edit->addWidget(button);
    for (QPushButton* button : {importButton, exportButton})
        exchange->addWidget(button);
    for (QPushButton* button : {add, duplicate_, delete_, importButton, exportButton})
        button->setAutoDefault(false);
    auto* layout = new QVBoxLayout(side);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(list_, 1);
    layout->addLayout(edit);
    layout->addLayout(exchange);

    connect(list_, &QListWidget::currentRowChanged, this, [this] { currentRuleChanged(); });
    connect(list_, &QListWidget::itemChanged, this,
            [this](const QListWidgetItem* item) { itemChanged(*item); });
    connect(add, &QPushButton::clicked, this, [this] { addRule({}); });
    connect(duplicate_, &QPushButton::clicked, this, [this] { duplicateRule(); });
    connect(delete_, &QPushButton::clicked, this, [this] { askToDelete(); });
    connect(importButton, &QPushButton::clicked, this, [this] {
        auto* dialog = new QFileDialog(this, tr("Import Rules"));
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setFileMode(QFileDialog::ExistingFile);
        connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) { importFrom(path); });
        dialog->open();
    });
    connect(exportButton, &QPushButton::clicked, this, [this] {
        auto* dialog = new QFileDialog(this, tr("Export Rules"), QString(), tr("Rules (*.rules)"));
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setAcceptMode(QFileDialog::AcceptSave);
        dialog->setDefaultSuffix(QStringLiteral("rules"));
        connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) { exportTo(path); });
        dialog->open();
    });
    return side;
}

QWidget* FilterRulesEditor::makeDocumentRow() {
    auto* holder = new QWidget(this);
    documentLabel_ = new QLabel(holder);
    documentLabel_->setTextFormat(Qt::PlainText);
    defaultAction_ = new QComboBox(holder);
    defaultAction_->addItems({tr("Show all lines"), tr("Hide lines that no rule claims")});
    documentLabel_->setBuddy(defaultAction_);
    auto* layout = new QHBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(documentLabel_);
    layout->addWidget(defaultAction_);
    layout->addStretch();
    connect(defaultAction_, &QComboBox::activated, this, [this](int index) {
        const auto document = document_.lock();
        if (!document || document->isClosed())
            return;
        document->dataSource()->setDefaultLineAction(index == 1 ? DefaultFilterLineAction::hide
                                                                : DefaultFilterLineAction::show);
    });
    updateDocumentRow();
    return holder;
}

// ---- Showing

void FilterRulesEditor::setDocument(const std::shared_ptr<Document>& document,
                                    std::function<QStringList()> visibleLines) {
    document_ = document;
    ofDocument_.clear();
    if (document && !document->isClosed()) {
        ofDocument_.push_back(
            document->notices().slowRulesChanged.subscribe([this] { handleFiltersManagerNotification(); }));
        ofDocument_.push_back(document->dataSource()->notices().defaultLineActionChanged.subscribe(
            [this] { updateDocumentRow(); }));
    }
    visibleLines_ = std::move(visibleLines);
    updateDocumentRow();
    showRules();
    currentRuleChanged();
}

QString FilterRulesEditor::docKey() const {
    const auto document = document_.lock();
    return document && !document->isClosed() ? document->settingsId() : QString();
}

void FilterRulesEditor::updateDocumentRow() {
    const auto document = document_.lock();
    const bool isOpen = document && !document->isClosed();
    documentLabel_->setText(isOpen ? tr("In “%1”:").arg(document->displayName())
                                   : tr("Open a file to switch rules on for it."));
    defaultAction_->setVisible(isOpen);
    if (isOpen)
        defaultAction_->setCurrentIndex(
            document->dataSource()->defaultLineAction() == DefaultFilterLineAction::hide ? 1 : 0);
}

void FilterRulesEditor::handleFiltersManagerNotification() {
    if (!isBusy_)
        showRules();
}

void FilterRulesEditor::showRules() {
    isBusy_ = true;
    const int current = list_->currentRow();
    const auto& rules = FiltersManager::shared().rules();
    const std::vector<SlowRule> slowRules = slowRulesOf(document_.lock().get());
    while (list_->count() > static_cast<int>(rules.size()))
        delete list_->takeItem(list_->count() - 1);
    while (list_->count() < static_cast<int>(rules.size()))
        list_->addItem(new QListWidgetItem);
    for (int i = 0; i < list_->count(); ++i) {
        const FilterRule& rule = *rules[static_cast<std::size_t>(i)];
        const auto slow = std::ranges::find(slowRules, rule.id(), &SlowRule::id);
        showItem(*list_->item(i), rule, slow == slowRules.end() ? nullptr : &*slow);
    }
    list_->setCurrentRow(std::clamp(current, rules.empty() ? -1 : 0, list_->count() - 1));
    isBusy_ = false;
    const auto shown = FiltersManager::shared().rule(list_->currentRow());
    if (shown != form_->rule())
        currentRuleChanged();
}

void FilterRulesEditor::showItem(QListWidgetItem& item, const FilterRule& rule, const SlowRule* slow) const {
    const AttributedString preview = rule.previewSearchStr();
    const QString& text = preview.string();
    QStringList remarks;
    if (rule.hide())
        remarks.append(tr("hidden"));
    if (slow)
        remarks.append(tr("too slow for this file"));
    const QString shown = text.isEmpty() ? tr("(no text)") : text;
    const QString remark =
        remarks.isEmpty() ? QString() : QStringLiteral("   — ") + remarks.join(QStringLiteral(", "));
    item.setText(shown + remark);
    item.setData(RuleItemDelegate::remarkRole, remark);
    item.setToolTip(slow ? QStringLiteral("%1\n\n%2").arg(text.left(longestToolTip), explanationOf(*slow))
                         : text.left(longestToolTip));
    // On the background of the log view, for which the rule's colours are made, not on that of the theme.
    QColor background = Preferences::shared().logViewBackground();
    QColor foreground = Preferences::shared().logViewForeground();
    QFont font = this->font();
    if (const Attributes* look = preview.attributesAt(0)) {
        background = look->background.value_or(background);
        foreground = look->foreground.value_or(foreground);
        font = look->font.value_or(font);
        font.setUnderline(look->underline);
    }
    // As in the rows: a default colour is made readable.
    const auto unchosen = FiltersManager::defaultTextColors();
    if (std::ranges::find(unchosen, foreground) != unchosen.end())
        foreground = readableOn({background}, foreground);
    item.setFont(font);
    item.setData(RuleItemDelegate::textColorRole, foreground);
    item.setData(RuleItemDelegate::groundColorRole, background);
    item.setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
    const bool isActive = isRuleActive(rule.id(), docKey());
    if (docKey().isEmpty())
        item.setData(Qt::CheckStateRole, QVariant());
    else
        item.setCheckState(isActive ? Qt::Checked : Qt::Unchecked);
}

void FilterRulesEditor::currentRuleChanged() {
    if (isBusy_)
        return;
    const auto rule = FiltersManager::shared().rule(list_->currentRow());
    delete_->setEnabled(rule != nullptr);
    duplicate_->setEnabled(rule != nullptr);
    form_->setRule(rule);
    followVisibleLines();
}

void FilterRulesEditor::followVisibleLines() {
    form_->setVisibleLines(visibleLines_ ? visibleLines_() : QStringList());
}

void FilterRulesEditor::showEvent(QShowEvent* event) {
    followVisibleLines();
    visibleLinesTimer_.start(visibleLinesInterval);
    QDialog::showEvent(event);
}

void FilterRulesEditor::commitTyping() {
    form_->commitTyping();
}

void FilterRulesEditor::hideEvent(QHideEvent* event) {
    visibleLinesTimer_.stop();
    commitTyping();
    QDialog::hideEvent(event);
}

// ---- Changing

void FilterRulesEditor::itemChanged(const QListWidgetItem& item) {
    const auto rule = FiltersManager::shared().rule(list_->row(&item));
    if (isBusy_ || !rule || docKey().isEmpty())
        return;
    isBusy_ = true;
    switchRule(rule->id(), docKey(), item.checkState() == Qt::Checked);
    isBusy_ = false;
}

void FilterRulesEditor::ruleEdited(const std::shared_ptr<FilterRule>& rule) {
    const auto& rules = FiltersManager::shared().rules();
    const auto place = std::find(rules.begin(), rules.end(), rule);
    if (place != rules.end())
        FiltersManager::shared().updateRule(*place, place - rules.begin());
}

void FilterRulesEditor::addRule(const QString& searchText) {
    form_->commitTyping();
    auto look = std::make_shared<HighlightRule>();
    look->setForeground(Preferences::shared().logViewForeground());
    auto rule = std::make_shared<FilterRule>(false, std::make_shared<SearchItem>(searchText), std::move(look),
                                             NotificationRule::defaultRule());
    FiltersManager::shared().addRule(rule);
    if (!docKey().isEmpty())
        switchRule(rule->id(), docKey(), true);
    list_->setCurrentRow(list_->count() - 1);
    form_->editSearchText();
}

void FilterRulesEditor::duplicateRule() {
    form_->commitTyping();
    if (const auto rule = FiltersManager::shared().rule(list_->currentRow())) {
        FiltersManager::shared().addRule(copyOf(*rule));
        list_->setCurrentRow(list_->count() - 1);
    }
}

void FilterRulesEditor::askToDelete() {
    const auto rule = FiltersManager::shared().rule(list_->currentRow());
    if (!rule)
        return;
    if (!Preferences::shared().confirmDeleteFilterHighlightRule()) {
        deleteRule(rule);
        return;
    }
    const QPointer<FilterRulesEditor> self(this);
    alerts_.present({Alert::Kind::Question,
                     tr("Delete the rule “%1”?").arg(rule->searchItem()->searchStr()),
                     tr("It is deleted for all files."),
                     {tr("Delete"), tr("Cancel")},
                     [] { Preferences::shared().setConfirmDeleteFilterHighlightRule(false); }},
                    idOf(this), [self, rule](int button) {
                        if (self && button == 0)
                            self->deleteRule(rule);
                    });
}

void FilterRulesEditor::deleteRule(const std::shared_ptr<FilterRule>& rule) {
    const auto& rules = FiltersManager::shared().rules();
    const auto place = std::find(rules.begin(), rules.end(), rule);
    if (place == rules.end())
        return;
    if (form_->rule() == rule)
        form_->setRule(nullptr);
    if (!docKey().isEmpty())
        switchRule(rule->id(), docKey(), false);
    FiltersManager::shared().removeRule(place - rules.begin());
}

void FilterRulesEditor::importFrom(const QString& path) {
    form_->commitTyping();
    const QPointer<FilterRulesEditor> self(this);
    importRules(path, alerts_, idOf(this), [self] {
        if (self)
            self->list_->setCurrentRow(self->list_->count() - 1);
    });
}

void FilterRulesEditor::exportTo(const QString& path) {
    form_->commitTyping();
    const Status written = FiltersManager::shared().exportRules(FiltersManager::shared().rules(), path);
    if (!written)
        alerts_.present(
            {Alert::Kind::Error, tr("The rules cannot be exported."), written.error().userText, {}, {}},
            idOf(this), {});
}

} // namespace korvane
