#pragma once

#include <QWidget>

#include <cstdint>
#include <optional>

class QLabel;
class QToolButton;

namespace korvane {

class ElidedLabel;

/// The line at the lower edge of a document's window: name, encoding, lines and size, and what the user must
/// know.
class FooterViewController : public QWidget {
    Q_OBJECT

public:
    explicit FooterViewController(QWidget* parent = nullptr);

    void setFileName(const QString& name, const QString& path);
    /// Whether the file is followed, and how, with the name of a picture for it.
    void setStatus(const QString& imageName, const QString& text);
    /// Nothing where it is not known.
    void setFileSize(std::optional<std::uint64_t> bytes);
    void setLineCount(qint64 lines);
    void setEncodingName(const QString& name);
    /// Something that stays true until it is replaced; empty for nothing. Warnings are drawn bold.
    void setStanding(const QString& text, bool isWarning);
    /// Something of the moment: shown for some seconds in the place of the standing text.
    void showUserUpdate(const QString& text);
    /// Takes this text away if it is still shown.
    void endUserUpdate(const QString& text);

Q_SIGNALS:
    /// The user wants to know more about the file.
    void fileInfoRequested();

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
    QLabel* lblFileSize_;
    QToolButton* info_;
    QString standing_;
    bool standingIsWarning_ = false;
    QString update_;
    int updateSerial_ = 0;
};

} // namespace korvane
