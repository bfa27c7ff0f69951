#pragma once

#include <QDialog>

#include <functional>
#include <optional>

class QLabel;
class QLineEdit;
class QPushButton;

namespace korvane {

/// The panel that asks for a line number. Belongs to the page whose lines it counts; closes and deletes
/// itself when that page closes or another one comes to the front.
class GotoLineViewController : public QDialog {
    Q_OBJECT

public:
    /// Returns the one-based line number that a text names; nullopt when the document has no such line.
    using Validation = std::function<std::optional<qint64>(const QString& text)>;

    GotoLineViewController(qint64 lineCount, Validation validLineNumber, QWidget* page);

Q_SIGNALS:
    /// OK was pressed with a valid one-based line number.
    void lineChosen(qint64 lineNumber);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// The OK button is enabled only for a valid line number.
    void controlTextDidChange();
    void handleOk();

    QLineEdit* txtLineNum_;
    QPushButton* btnOk_;
    const Validation validLineNumber_;
};

} // namespace korvane
