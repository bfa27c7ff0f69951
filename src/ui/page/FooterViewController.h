#pragma once

#include <QWidget>

#include <cstdint>
#include <optional>

class QLabel;
class QToolButton;

namespace korvane {

class ElidedLabel;

/// The line at the lower edge of a document's window: name, encoding, lines, size and messages.
class FooterViewController : public QWidget {
    Q_OBJECT

public:
    explicit FooterViewController(QWidget* parent = nullptr);

    void setFileName(const QString& name, const QString& path);
    /// Whether and how the file is followed, with the name of the icon for it.
    void setStatus(const QString& imageName, const QString& text);
    /// Nullopt if the size is not known.
    void setFileSize(std::optional<std::uint64_t> bytes);
    /// Lines that are not left out, as far as the lines have been examined.
    struct Shown {
        qint64 lines = 0;
        int percentExamined = 100;
    };
    /// `shown`: nullopt while all lines are shown.
    void setLineCount(qint64 lines, std::optional<Shown> shown = std::nullopt);
    void setEncodingName(const QString& name);
    /// A lasting message, shown until it is replaced; empty for none. Warnings are drawn bold.
    void setStanding(const QString& text, bool isWarning);
    /// A passing message, shown for some seconds in place of the standing text.
    void showUserUpdate(const QString& text);
    /// Removes this text if it is still shown.
    void endUserUpdate(const QString& text);

Q_SIGNALS:
    /// The user requested details of the file.
    void fileInfoRequested();
    /// The user wants to see all lines.
    void showAllRequested();

protected:
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void showText();

    QLabel* imgStatus_;
    QString imageName_;
    QLabel* lblStatus_;
    ElidedLabel* lblFileName_;
    QLabel* lblUserUpdate_;
    QLabel* lblEncoding_;
    QLabel* lblLineCount_;
    QToolButton* showAll_;
    QLabel* lblFileSize_;
    QToolButton* info_;
    QString standing_;
    bool standingIsWarning_ = false;
    QString update_;
    int updateSerial_ = 0;
};

} // namespace korvane
