#include "ui/rules/RuleForm.h"

#include "core/search/PatternFault.h"
#include "core/search/SearchItem.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "ui/widgets/ColorButton.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include <algorithm>

namespace korvane {
namespace {

using namespace std::chrono_literals;

constexpr auto typingPause = 300ms;

/// A red that can be read on the desktop's own ground.
QColor faultColor(const QPalette& palette) {
    const bool isDark = palette.color(QPalette::Window).lightnessF() < 0.5F;
    return isDark ? QColor(0xFF, 0x7B, 0x72) : QColor(0xC0, 0x1C, 0x28);
}

QWidget* row(std::initializer_list<QWidget*> widgets) {
    auto* holder = new QWidget;
    auto* layout = new QHBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    for (QWidget* widget : widgets)
        layout->addWidget(widget);
    layout->addStretch();
    return holder;
}

} // namespace

RuleForm::RuleForm(QWidget* parent) : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(makeSearchFields());
    layout->addWidget(makeStyleFields());
    layout->addWidget(makeNotificationFields());
    layout->addStretch();
    typing_.setSingleShot(true);
    connect(&typing_, &QTimer::timeout, this, [this] { commitTyping(); });
    setRule(nullptr);
}

QWidget* RuleForm::makeSearchFields() {
    auto* box = new QGroupBox(tr("Find"), this);
    searchText_ = new QLineEdit(box);
    searchText_->setClearButtonEnabled(true);
    searchText_->setAccessibleName(tr("Search text"));
    regex_ = new QCheckBox(tr("Regular e&xpression"), box);
    ignoreCase_ = new QCheckBox(tr("I&gnore case"), box);
    hint_ = new QLabel(box);
    hint_->setTextFormat(Qt::PlainText);
    hint_->setWordWrap(true);
    // Room for two lines, so that nothing jumps while one types.
    hint_->setMinimumHeight(2 * fontMetrics().lineSpacing());
    hint_->setAlignment(Qt::AlignTop);
    action_ = new QComboBox(box);
    action_->addItems({tr("Show and paint the lines"), tr("Hide the lines")});
    auto* layout = new QFormLayout(box);
    layout->addRow(tr("&Text:"), searchText_);
    layout->addRow({}, row({regex_, ignoreCase_}));
    layout->addRow({}, hint_);
    layout->addRow(tr("Acti&on:"), action_);

    connect(searchText_, &QLineEdit::textEdited, this, [this] {
        updateHint();
        typing_.start(typingPause);
    });
    connect(searchText_, &QLineEdit::editingFinished, this, [this] { commitTyping(); });
    connect(regex_, &QCheckBox::toggled, this, [this](bool on) {
        commitTyping();
        change([on](FilterRule& rule) { rule.searchItem()->setRegex(on); });
        updateHint();
    });
    connect(ignoreCase_, &QCheckBox::toggled, this, [this](bool on) {
        commitTyping();
        change([on](FilterRule& rule) { rule.searchItem()->setIgnoreCase(on); });
        updateHint();
    });
    connect(action_, &QComboBox::currentIndexChanged, this,
            [this](int index) { change([index](FilterRule& rule) { rule.setHide(index == 1); }); });
    return box;
}

QWidget* RuleForm::makeStyleFields() {
    auto* box = new QGroupBox(tr("Paint"), this);
    bold_ = new QCheckBox(tr("&Bold"), box);
    italic_ = new QCheckBox(tr("&Italic"), box);
    underline_ = new QCheckBox(tr("&Underlined"), box);
    foreground_ = new ColorButton(tr("Text colour"), box);
    useViewBackground_ = new QCheckBox(tr("The &view's own"), box);
    background_ = new ColorButton(tr("Background colour"), box);
    auto* layout = new QFormLayout(box);
    layout->addRow(tr("Found text:"), row({bold_, italic_, underline_}));
    layout->addRow(tr("Line's text:"), row({foreground_}));
    layout->addRow(tr("Line's background:"), row({background_, useViewBackground_}));

    using Setter = void (HighlightRule::*)(bool);
    for (const auto& [box_, setter] :
         {std::pair<QCheckBox*, Setter>(bold_, &HighlightRule::setBold),
          std::pair<QCheckBox*, Setter>(italic_, &HighlightRule::setItalic),
          std::pair<QCheckBox*, Setter>(underline_, &HighlightRule::setUnderline)}) {
        connect(box_, &QCheckBox::toggled, this, [this, setter = setter](bool on) {
            change([on, setter](FilterRule& rule) { (rule.highlightRule().get()->*setter)(on); });
        });
    }
    connect(foreground_, &ColorButton::colorChosen, this, [this](const QColor& color) {
        change([&color](FilterRule& rule) { rule.highlightRule()->setForeground(color); });
    });
    connect(background_, &ColorButton::colorChosen, this, [this](const QColor& color) {
        change([&color](FilterRule& rule) { rule.highlightRule()->setBackground(color); });
    });
    connect(useViewBackground_, &QCheckBox::toggled, this, [this](bool on) {
        background_->setEnabled(!on);
        change([on](FilterRule& rule) { rule.highlightRule()->setUseViewBackground(on); });
    });
    return box;
}

QWidget* RuleForm::makeNotificationFields() {
    auto* box = new QGroupBox(tr("Tell"), this);
    notify_ = new QCheckBox(tr("&Notify me of a match"), box);
    frequency_ = new QComboBox(box);
    frequency_->addItems({tr("once"), tr("every time")});
    frequency_->setAccessibleName(tr("How often"));
    bounce_ = new QCheckBox(tr("As&k for attention in the task bar"), box);
    auto* layout = new QVBoxLayout(box);
    layout->addWidget(row({notify_, frequency_}));
    layout->addWidget(bounce_);
    connect(notify_, &QCheckBox::toggled, this, [this] { changeNotification(); });
    connect(bounce_, &QCheckBox::toggled, this, [this] { changeNotification(); });
    connect(frequency_, &QComboBox::currentIndexChanged, this, [this] { changeNotification(); });
    return box;
}

void RuleForm::changeNotification() {
    frequency_->setEnabled(notify_->isChecked() || bounce_->isChecked());
    // A new object: the one that is there may be the default that all quiet rules share.
    change([this](FilterRule& rule) {
        rule.setNotificationRule(std::make_shared<NotificationRule>(
            notify_->isChecked(), bounce_->isChecked(),
            frequency_->currentIndex() == 1 ? Frequency::Always : Frequency::Once));
    });
}

void RuleForm::setRule(std::shared_ptr<FilterRule> rule) {
    commitTyping();
    rule_ = std::move(rule);
    setEnabled(rule_ != nullptr);
    showRule();
}

void RuleForm::showRule() {
    isFilling_ = true;
    searchText_->setText(rule_ ? rule_->searchItem()->searchStr() : QString());
    regex_->setChecked(rule_ && rule_->searchItem()->regex());
    ignoreCase_->setChecked(rule_ && rule_->searchItem()->ignoreCase());
    action_->setCurrentIndex(rule_ && rule_->hide() ? 1 : 0);
    bold_->setChecked(rule_ && rule_->highlightRule()->bold());
    italic_->setChecked(rule_ && rule_->highlightRule()->italic());
    underline_->setChecked(rule_ && rule_->highlightRule()->underline());
    foreground_->setColor(rule_ ? rule_->highlightRule()->foreground() : QColor(Qt::black));
    background_->setColor(rule_ ? rule_->highlightRule()->background() : QColor(Qt::white));
    useViewBackground_->setChecked(rule_ && rule_->highlightRule()->useViewBackground());
    background_->setEnabled(!useViewBackground_->isChecked());
    notify_->setChecked(rule_ && rule_->notificationRule()->enabled());
    bounce_->setChecked(rule_ && rule_->notificationRule()->bounceDock());
    frequency_->setCurrentIndex(rule_ && rule_->notificationRule()->frequency() == Frequency::Always ? 1 : 0);
    frequency_->setEnabled(notify_->isChecked() || bounce_->isChecked());
    isFilling_ = false;
    updateHint();
}

void RuleForm::setVisibleLines(QStringList lines) {
    visibleLines_ = std::move(lines);
    updateHint();
}

void RuleForm::editSearchText() {
    searchText_->setFocus();
    searchText_->selectAll();
}

void RuleForm::commitTyping() {
    typing_.stop();
    if (rule_ && rule_->searchItem()->searchStr() != searchText_->text())
        change([this](FilterRule& rule) { rule.searchItem()->setSearchStr(searchText_->text()); });
}

void RuleForm::change(const std::function<void(FilterRule&)>& change) {
    if (isFilling_ || !rule_)
        return;
    change(*rule_);
    Q_EMIT ruleChanged();
}

void RuleForm::updateHint() {
    const QString text = searchText_->text();
    const auto fault = regex_->isChecked() ? patternFault(text) : std::nullopt;
    QPalette hintPalette = palette();
    if (fault)
        hintPalette.setColor(QPalette::WindowText, faultColor(palette()));
    hint_->setPalette(hintPalette);
    if (!rule_ || text.isEmpty()) {
        hint_->setText(rule_ ? tr("An empty text matches nothing.") : QString());
        return;
    }
    if (fault) {
        hint_->setText(tr("This pattern matches nothing: %1.").arg(*fault));
        return;
    }
    if (visibleLines_.isEmpty()) {
        hint_->clear();
        return;
    }
    SearchItem item(text);
    item.setRegex(regex_->isChecked());
    item.setIgnoreCase(ignoreCase_->isChecked());
    const auto count = std::count_if(visibleLines_.begin(), visibleLines_.end(),
                                     [&item](const QString& line) { return item.matches(line); });
    hint_->setText(tr("Matches %1 of the %2 lines on the screen.").arg(count).arg(visibleLines_.size()));
}

} // namespace korvane
