#pragma once

#include "foundation/archive/UserDefaults.h"

#include <QDialog>

#include <functional>
#include <vector>

class QAbstractSpinBox;
class QCheckBox;
class QDoubleSpinBox;
class QFormLayout;
class QLabel;
class QPushButton;
class QSpinBox;
class QTabWidget;
class QVBoxLayout;

namespace korvane {

class ColorButton;
class Preferences;

/// The dialog for the user's settings. Every change takes effect at once. Main thread.
class PreferencesWindow : public QDialog {
    Q_OBJECT

public:
    explicit PreferencesWindow(QWidget* parent = nullptr);

private:
    QWidget* makeGeneralPage();
    QWidget* makeAppearancePage();
    QWidget* makeAlertsPage();
    QWidget* makeRemotePage();
    QVBoxLayout* addPage(QWidget* page);
    /// A check box for a boolean setting.
    QCheckBox* addSwitch(QVBoxLayout& layout, const QString& text, bool (Preferences::*value)() const,
                         void (Preferences::*setValue)(bool));
    /// Explains the control before it, in small type.
    void addNote(QVBoxLayout& layout, const QString& text);
    /// A box with its label in front.
    void addBox(QVBoxLayout& layout, const QString& text, QAbstractSpinBox* box);
    void addPollingInterval(QVBoxLayout& layout);
    void addHostKeyChoices(QVBoxLayout& layout);
    QSpinBox* addMebibytes(QVBoxLayout& layout, const QString& text, int least, int most,
                           int (Preferences::*value)() const, void (Preferences::*setValue)(int));
    void addColor(QFormLayout& form, const QString& label, QColor (Preferences::*value)() const,
                  void (Preferences::*setValue)(const QColor&));
    void chooseFont();
    void useColors(const QColor& background, const QColor& text, const QColor& numbers);
    void showLooks();
    /// Updates every control from the settings.
    void refresh();

    /// One per control: updates it from the settings.
    std::vector<std::function<void()>> refreshers_;
    QDoubleSpinBox* pollingInterval_ = nullptr;
    QPushButton* font_ = nullptr;
    QLabel* preview_ = nullptr;
    UserDefaults::Token token_;
};

} // namespace korvane
