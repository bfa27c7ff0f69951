#include "ui/window/PreferencesWindow.h"

#include "core/Preferences.h"
#include "ui/widgets/ColorButton.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFontDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

#include <cmath>

namespace korvane {
namespace {

/// A box for seconds in the shortest notation: 0.5, 1, 2.25. Takes a comma for the point.
class SecondsBox : public QDoubleSpinBox {
public:
    using QDoubleSpinBox::QDoubleSpinBox;
    QString textFromValue(double value) const override {
        QLocale plain = locale();
        plain.setNumberOptions(QLocale::OmitGroupSeparator);
        return plain.toString(value, 'g', QLocale::FloatingPointShortest);
    }
    QValidator::State validate(QString& input, int& cursor) const override {
        input.replace(u',', locale().decimalPoint()).replace(u'.', locale().decimalPoint());
        return QDoubleSpinBox::validate(input, cursor);
    }
};

/// Keeps the text being typed if its value is equal.
template <typename Box, typename Value>
void showValue(Box& box, Value value) {
    const QSignalBlocker blocker(box);
    if (box.value() != value)
        box.setValue(value);
}

const QColor darkBackground(0x1e, 0x1e, 0x1e);
const QColor darkText(0xd8, 0xd8, 0xd8);
const QColor darkNumbers(0x8c, 0x8c, 0x8c);

} // namespace

PreferencesWindow::PreferencesWindow(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Preferences"));
    auto* tabs = new QTabWidget(this);
    tabs->addTab(makeGeneralPage(), tr("&General"));
    tabs->addTab(makeAppearancePage(), tr("&Appearance"));
    tabs->addTab(makeAlertsPage(), tr("A&lerts"));
    tabs->addTab(makeRemotePage(), tr("&Remote"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs);
    layout->addWidget(buttons);
    token_ = Preferences::shared().observe([this](const QString&) { refresh(); });
    refresh();
}

void PreferencesWindow::refresh() {
    for (const auto& refreshControl : refreshers_)
        refreshControl();
}

// ---- Controls

QVBoxLayout* PreferencesWindow::addPage(QWidget* page) {
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->setSpacing(8);
    return layout;
}

QCheckBox* PreferencesWindow::addSwitch(QVBoxLayout& layout, const QString& text,
                                        bool (Preferences::*value)() const,
                                        void (Preferences::*setValue)(bool)) {
    auto* box = new QCheckBox(text, this);
    layout.addWidget(box);
    connect(box, &QCheckBox::clicked, this, [setValue](bool on) { (Preferences::shared().*setValue)(on); });
    refreshers_.emplace_back([box, value] { box->setChecked((Preferences::shared().*value)()); });
    return box;
}

void PreferencesWindow::addNote(QVBoxLayout& layout, const QString& text) {
    auto* note = new QLabel(text, this);
    note->setWordWrap(true);
    note->setForegroundRole(QPalette::PlaceholderText);
    note->setContentsMargins(24, 0, 0, 6);
    layout.addWidget(note);
}

void PreferencesWindow::addBox(QVBoxLayout& layout, const QString& text, QAbstractSpinBox* box) {
    auto* row = new QHBoxLayout;
    auto* label = new QLabel(text, this);
    label->setBuddy(box);
    box->setKeyboardTracking(false);
    row->addWidget(label);
    row->addWidget(box);
    row->addStretch();
    layout.addLayout(row);
}

void PreferencesWindow::addPollingInterval(QVBoxLayout& layout) {
    pollingInterval_ = new SecondsBox(this);
    pollingInterval_->setDecimals(2);
    pollingInterval_->setRange(Preferences::shortestPollingInterval, Preferences::longestPollingInterval);
    pollingInterval_->setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    pollingInterval_->setSuffix(tr(" s"));
    addBox(layout, tr("Look for new l&ines every"), pollingInterval_);
    connect(pollingInterval_, &QDoubleSpinBox::valueChanged, this,
            [](double seconds) { Preferences::shared().setPollingInterval(seconds); });
    refreshers_.emplace_back(
        [this] { showValue(*pollingInterval_, Preferences::shared().pollingInterval()); });
}

QSpinBox* PreferencesWindow::addMebibytes(QVBoxLayout& layout, const QString& text, int least, int most,
                                          int (Preferences::*value)() const,
                                          void (Preferences::*setValue)(int)) {
    auto* box = new QSpinBox(this);
    box->setRange(least, most);
    box->setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    box->setSuffix(tr(" MiB"));
    addBox(layout, text, box);
    connect(box, &QSpinBox::valueChanged, this,
            [setValue](int mebibytes) { (Preferences::shared().*setValue)(mebibytes); });
    refreshers_.emplace_back([box, value] { showValue(*box, (Preferences::shared().*value)()); });
    return box;
}

void PreferencesWindow::addColor(QFormLayout& form, const QString& label,
                                 QColor (Preferences::*value)() const,
                                 void (Preferences::*setValue)(const QColor&)) {
    auto* button = new ColorButton(QString(label).remove(u'&'), this);
    connect(button, &ColorButton::colorChosen, this,
            [setValue](const QColor& color) { (Preferences::shared().*setValue)(color); });
    refreshers_.emplace_back([button, value] { button->setColor((Preferences::shared().*value)()); });
    form.addRow(label, button);
}

// ---- Pages

QWidget* PreferencesWindow::makeGeneralPage() {
    auto* page = new QWidget(this);
    QVBoxLayout& layout = *addPage(page);
    addSwitch(layout, tr("&Follow a file as soon as it is opened"), &Preferences::startTailingOnFileOpen,
              &Preferences::setStartTailingOnFileOpen);
    addSwitch(layout, tr("Open followed files at their e&nd"), &Preferences::openAtEnd,
              &Preferences::setOpenAtEnd);
    addSwitch(layout, tr("Scrolling to the &bottom resumes following the end"),
              &Preferences::autoTailOnScroll, &Preferences::setAutoTailOnScroll);
    addPollingInterval(layout);
    layout.addSpacing(10);
    addSwitch(layout, tr("Open files as &tabs of one window"), &Preferences::useTabs,
              &Preferences::setUseTabs);
    addSwitch(layout, tr("Show the &sidebar in a new window"), &Preferences::showSidebarOnFileOpen,
              &Preferences::setShowSidebarOnFileOpen);
    addSwitch(layout, tr("Read onl&y the lines that are shown"), &Preferences::lazyLoadFile,
              &Preferences::setLazyLoadFile);
    addNote(layout,
            tr("Off, a file is held in memory as a whole. That suits small files on slow disks only."));
    auto* rows =
        addMebibytes(layout, tr("&Memory for the rows of all open files"), Preferences::leastRowMemory,
                     Preferences::mostRowMemory, &Preferences::rowMemory, &Preferences::setRowMemory);
    rows->setToolTip(
        tr("Rows that have been looked at stay ready up to this. Those on the screen always do"));
    auto* reserve =
        addMebibytes(layout, tr("&Pause reading a pipe when less disk space is left than"), 0,
                     Preferences::mostPipeReserve, &Preferences::pipeReserve, &Preferences::setPipeReserve);
    reserve->setSpecialValueText(tr("Never pause"));
    reserve->setToolTip(
        tr("Where the input is kept; also below a twentieth of that disk. You can go on then"));
    addSwitch(layout, tr("Show the &welcome window at the start"), &Preferences::showWelcomeWinOnStart,
              &Preferences::setShowWelcomeWinOnStart);
    addSwitch(layout, tr("&Open the files of the last time again"), &Preferences::reopenDocuments,
              &Preferences::setReopenDocuments);
    layout.addStretch();
    return page;
}

QWidget* PreferencesWindow::makeAppearancePage() {
    auto* page = new QWidget(this);
    QVBoxLayout& layout = *addPage(page);
    auto* form = new QFormLayout;
    font_ = new QPushButton(this);
    connect(font_, &QPushButton::clicked, this, [this] { chooseFont(); });
    form->addRow(tr("&Font of the lines:"), font_);
    addColor(*form, tr("&Text:"), &Preferences::logViewForeground, &Preferences::setLogViewForeground);
    addColor(*form, tr("&Background:"), &Preferences::logViewBackground, &Preferences::setLogViewBackground);
    addColor(*form, tr("Line &numbers:"), &Preferences::logViewLineNumViewForeground,
             &Preferences::setLogViewLineNumViewForeground);
    layout.addLayout(form);

    auto* presets = new QHBoxLayout;
    auto* light = new QPushButton(tr("L&ight"), this);
    auto* dark = new QPushButton(tr("&Dark"), this);
    auto* restore = new QPushButton(tr("R&estore Defaults"), this);
    connect(light, &QPushButton::clicked, this, [this] { useColors(Qt::white, QColor(1, 1, 1), Qt::gray); });
    connect(dark, &QPushButton::clicked, this, [this] { useColors(darkBackground, darkText, darkNumbers); });
    connect(restore, &QPushButton::clicked, this, [] { Preferences::shared().restoreLogViewLooks(); });
    presets->addWidget(light);
    presets->addWidget(dark);
    presets->addStretch();
    presets->addWidget(restore);
    layout.addLayout(presets);

    preview_ = new QLabel(this);
    preview_->setTextFormat(Qt::RichText);
    preview_->setAutoFillBackground(true);
    preview_->setMargin(8);
    preview_->setAccessibleName(tr("Preview"));
    layout.addWidget(preview_);
    refreshers_.emplace_back([this] { showLooks(); });

    layout.addSpacing(10);
    addSwitch(layout, tr("Show line n&umbers"), &Preferences::showLineNumbers,
              &Preferences::setShowLineNumbers);
    addSwitch(layout, tr("&Wrap long lines of files opened for the first time"), &Preferences::wrapLines,
              &Preferences::setWrapLines);
    addSwitch(layout, tr("&Highlight the selected text wherever it stands"),
              &Preferences::quickHighlightSelection, &Preferences::setQuickHighlightSelection);
    addSwitch(layout, tr("Show beside the scroll bar where &matches and marked lines are"),
              &Preferences::showsOverview, &Preferences::setShowsOverview);
    layout.addStretch();
    return page;
}

QWidget* PreferencesWindow::makeAlertsPage() {
    auto* page = new QWidget(this);
    QVBoxLayout& layout = *addPage(page);
    layout.addWidget(new QLabel(tr("Ask before deleting"), this));
    addSwitch(layout, tr("a &bookmark"), &Preferences::confirmDeleteBookmark,
              &Preferences::setConfirmDeleteBookmark);
    addSwitch(layout, tr("a r&ule"), &Preferences::confirmDeleteFilterHighlightRule,
              &Preferences::setConfirmDeleteFilterHighlightRule);
    addSwitch(layout, tr("a remote &host"), &Preferences::confirmDeleteRemoteHost,
              &Preferences::setConfirmDeleteRemoteHost);
    layout.addSpacing(10);
    layout.addWidget(new QLabel(tr("When a terminal is opened, say what to do there for"), this));
    addSwitch(layout, tr("files on &this computer"), &Preferences::openLocalTerminalAlert,
              &Preferences::setOpenLocalTerminalAlert);
    addSwitch(layout, tr("files on a &server"), &Preferences::showRemoteTerminalAlert,
              &Preferences::setShowRemoteTerminalAlert);
    layout.addStretch();
    return page;
}

void PreferencesWindow::addHostKeyChoices(QVBoxLayout& layout) {
    layout.addWidget(new QLabel(tr("Host keys of servers"), this));
    auto* choices = new QButtonGroup(this);
    const auto add = [&](HostKeyChoice choice, const QString& text) {
        auto* button = new QRadioButton(text, this);
        layout.addWidget(button);
        choices->addButton(button, static_cast<int>(choice));
    };
    add(HostKeyChoice::AcceptNew, tr("Accept &new keys and remember them, ask when one has changed"));
    add(HostKeyChoice::AskForNew, tr("As&k for new ones too"));
    add(HostKeyChoice::AcceptAll, tr("A&ccept all"));
    addNote(layout,
            tr("Keys are remembered in the file known_hosts, which ssh uses too. When all are accepted, "
               "it is neither read nor written, and nobody notices when another computer answers "
               "for a server."));
    connect(choices, &QButtonGroup::idClicked, this,
            [](int choice) { Preferences::shared().setHostKeyChoice(static_cast<HostKeyChoice>(choice)); });
    refreshers_.emplace_back([choices] {
        choices->button(static_cast<int>(Preferences::shared().hostKeyChoice()))->setChecked(true);
    });
}

QWidget* PreferencesWindow::makeRemotePage() {
    auto* page = new QWidget(this);
    QVBoxLayout& layout = *addPage(page);
    addHostKeyChoices(layout);
    addSwitch(layout, tr("Log the SSH connection in &detail"), &Preferences::nmsshDebug,
              &Preferences::setNmsshDebug);
    addNote(layout, tr("Goes to the standard error of the program. For reporting problems."));
    layout.addStretch();
    return page;
}

// ---- Appearance

void PreferencesWindow::chooseFont() {
    auto* dialog = new QFontDialog(Preferences::shared().logViewFont(), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Font of the Lines"));
    dialog->setOption(QFontDialog::MonospacedFonts);
    connect(dialog, &QFontDialog::fontSelected, this,
            [](const QFont& font) { Preferences::shared().setLogViewFont(font); });
    dialog->open();
}

void PreferencesWindow::useColors(const QColor& background, const QColor& text, const QColor& numbers) {
    auto& preferences = Preferences::shared();
    preferences.setLogViewBackground(background);
    preferences.setLogViewForeground(text);
    preferences.setLogViewLineNumViewForeground(numbers);
}

void PreferencesWindow::showLooks() {
    const auto& preferences = Preferences::shared();
    const QFont font = preferences.logViewFont();
    font_->setText(tr("%1, %2 points").arg(font.family(), QLocale().toString(font.pointSizeF())));
    QPalette colors = preview_->palette();
    colors.setColor(QPalette::Window, preferences.logViewBackground());
    colors.setColor(QPalette::WindowText, preferences.logViewForeground());
    preview_->setPalette(colors);
    preview_->setFont(font);
    preview_->setText(QStringLiteral("<span style=\"color:%1\">1 </span>10:45:02 INFO %2<br>"
                                     "<span style=\"color:%1\">2 </span>10:45:03 WARN %3")
                          .arg(preferences.logViewLineNumViewForeground().name(),
                               tr("Server started").toHtmlEscaped(),
                               tr("Queue is nearly full").toHtmlEscaped()));
}

} // namespace korvane
