#include "ui/rules/RuleForm.h"

#include "core/Preferences.h"
#include "core/search/SearchItem.h"
#include "foundation/text/Translations.h"
#include "rules/FilterRule.h"
#include "rules/FiltersManager.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "ui/widgets/ColorButton.h"
#include "ui/widgets/Contrast.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include <algorithm>

namespace korvane {
namespace {

/// A red that is readable on the background of the theme.
QColor faultColor(const QPalette& palette) {
    const bool isDark = palette.color(QPalette::Window).lightnessF() < 0.5F;
    return isDark ? QColor(0xFF, 0x7B, 0x72) : QColor(0xC0, 0x1C, 0x28);
}

/// A rule of the first start in its own colour, which is adapted to the background when it is painted.
bool hasLevelColor(const FilterRule& rule) {
    return std::ranges::any_of(FiltersManager::defaultRules(), [&rule](const auto& level) {
        return level->searchItem()->searchStr() == rule.searchItem()->searchStr() &&
               level->highlightRule()->foreground() == rule.highlightRule()->foreground();
    });
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
    // Room for two lines, so that the layout does not shift while typing.
    hint_->setMinimumHeight(2 * fontMetrics().lineSpacing());
    hint_->setAlignment(Qt::AlignTop);
    action_ = new QComboBox(box);
    action_->addItems({tr("Show and paint the lines"), tr("Hide the lines")});
    auto* layout = new QFormLayout(box);
    layout->addRow(tr("&Text:"), searchText_);
    layout->addRow({}, row({regex_, ignoreCase_}));
    layout->addRow({}, hint_);
    layout->addRow(tr("Acti&on:"), action_);

    searchText_->installEventFilter(this);
    connect(searchText_, &QLineEdit::textEdited, this, [this] { updateHint(); });
    connect(searchText_, &QLineEdit::editingFinished, this, [this] { commitTyping(); });
    for (const auto& [checkBox, setter] :
         {std::pair(regex_, &SearchItem::setRegex), std::pair(ignoreCase_, &SearchItem::setIgnoreCase)}) {
        connect(checkBox, &QCheckBox::toggled, this, [this, setter = setter](bool on) {
            // What is typed belongs to it, even where the field keeps the focus.
            change([this, on, setter](FilterRule& rule) {
                rule.searchItem()->setSearchStr(searchText_->text());
                ((*rule.searchItem()).*setter)(on);
            });
            updateHint();
        });
    }
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
    contrastWarning_ = new QLabel(tr("This text is hard to read on its background."), box);
    contrastWarning_->setWordWrap(true);
    layout->addRow({}, contrastWarning_);

    using Setter = void (HighlightRule::*)(bool);
    for (const auto& [box_, setter] :
         {std::pair<QCheckBox*, Setter>(bold_, &HighlightRule::setBold),
          std::pair<QCheckBox*, Setter>(italic_, &HighlightRule::setItalic),
          std::pair<QCheckBox*, Setter>(underline_, &HighlightRule::setUnderline)}) {
        connect(box_, &QCheckBox::toggled, this, [this, setter = setter](bool on) {
            changeLook([on, setter](HighlightRule& look) { (look.*setter)(on); });
        });
    }
    connect(useViewBackground_, &QCheckBox::toggled, this, [this](bool on) {
        background_->setEnabled(!on);
        changeLook([on](HighlightRule& look) { look.setUseViewBackground(on); });
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
    // A new object: the present one may be the default that all quiet rules share.
    change([this](FilterRule& rule) {
        rule.setNotificationRule(std::make_shared<NotificationRule>(
            notify_->isChecked(), bounce_->isChecked(),
            frequency_->currentIndex() == 1 ? Frequency::Always : Frequency::Once));
    });
}

void RuleForm::setRule(std::shared_ptr<FilterRule> rule) {
    commitTyping();
    if (rule == rule_ && rule)
        return;
    rule_ = std::move(rule);
    setEnabled(rule_ != nullptr);
    showRule();
    bindColors();
}

void RuleForm::bindColors() {
    const QString text = rule_ ? rule_->searchItem()->searchStr() : QString();
    // By the time the colour is chosen the form may show another rule, or the rule be deleted.
    for (const auto& [button, setter] : {std::pair(foreground_, &HighlightRule::setForeground),
                                         std::pair(background_, &HighlightRule::setBackground)}) {
        button->setTarget(text, [this, button = button, setter = setter,
                                 bound = std::weak_ptr(rule_)](const QColor& color) {
            const auto rule = bound.lock();
            if (!rule)
                return;
            ((*rule->highlightRule()).*setter)(color);
            Q_EMIT ruleChanged(rule);
            if (rule == rule_)
                button->setColor(color);
            updateContrastWarning();
        });
    }
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
    updateContrastWarning();
}

void RuleForm::setVisibleLines(QStringList lines) {
    if (lines == visibleLines_)
        return;
    visibleLines_ = std::move(lines);
    updateHint();
}

void RuleForm::editSearchText() {
    searchText_->setFocus();
    searchText_->selectAll();
}

bool RuleForm::isTyping() const {
    return rule_ && rule_->searchItem()->searchStr() != searchText_->text();
}

void RuleForm::commitTyping() {
    if (!isTyping())
        return;
    change([this](FilterRule& rule) { rule.searchItem()->setSearchStr(searchText_->text()); });
    bindColors();
}

bool RuleForm::eventFilter(QObject* watched, QEvent* event) {
    const bool isKey = event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride;
    if (watched != searchText_ || !isKey || !isTyping() ||
        static_cast<QKeyEvent*>(event)->key() != Qt::Key_Escape)
        return QWidget::eventFilter(watched, event);
    // Only the next Esc closes the window.
    event->accept();
    if (event->type() == QEvent::KeyPress) {
        searchText_->setText(rule_->searchItem()->searchStr());
        updateHint();
    }
    return true;
}

void RuleForm::change(const std::function<void(FilterRule&)>& change) {
    if (isFilling_ || !rule_)
        return;
    change(*rule_);
    Q_EMIT ruleChanged(rule_);
}

void RuleForm::changeLook(const std::function<void(HighlightRule&)>& change) {
    this->change([&change](FilterRule& rule) { change(*rule.highlightRule()); });
    updateContrastWarning();
}

// ---- Hints

void RuleForm::showHint(const QString& text, bool isFault) {
    QPalette hintPalette = palette();
    if (isFault)
        hintPalette.setColor(QPalette::WindowText, faultColor(palette()));
    hint_->setPalette(hintPalette);
    hint_->setText(text);
}

void RuleForm::updateHint() {
    counter_.cancel();
    if (!rule_ || searchText_->text().isEmpty()) {
        showHint(rule_ ? tr("An empty text matches nothing.") : QString());
        return;
    }
    SearchItem draft(searchText_->text());
    draft.setRegex(regex_->isChecked());
    draft.setIgnoreCase(ignoreCase_->isChecked());
    counter_.count(draft, visibleLines_,
                   [this](const LineMatchCounter::Answer& answer) { showCount(answer); });
}

void RuleForm::showCount(const LineMatchCounter::Answer& answer) {
    if (answer.patternFault)
        showHint(tr("This pattern matches nothing: %1.").arg(*answer.patternFault), true);
    else if (answer.givenUp > 0)
        showHint(tr("Matches %1 of the %2 line(s) on the screen, and is too slow for %3 of them.", nullptr,
                    translations::pluralOf(answer.lines))
                     .arg(answer.matching)
                     .arg(answer.lines)
                     .arg(answer.givenUp),
                 true);
    else if (answer.lines > 0)
        showHint(
            tr("Matches %1 of the %2 line(s) on the screen.", nullptr, translations::pluralOf(answer.lines))
                .arg(answer.matching)
                .arg(answer.lines));
    else
        showHint({});
}

void RuleForm::updateContrastWarning() {
    bool isHardToRead = false;
    if (rule_) {
        const HighlightRule& look = *rule_->highlightRule();
        const QColor background =
            look.useViewBackground() ? Preferences::shared().logViewBackground() : look.background();
        isHardToRead = !hasLevelColor(*rule_) && contrast(look.foreground(), background) < readableContrast;
    }
    contrastWarning_->setVisible(isHardToRead);
}

} // namespace korvane
