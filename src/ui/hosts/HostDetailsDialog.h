#pragma once

#include <QDialog>

#include <memory>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace korvane {

class AlertPresenter;
class AuthnForm;
class BusyIndicator;
class Client;
class RemoteHost;

/// Adds a host to the store, or edits one. Either all of it is saved or nothing. Main thread;
/// needs the shared stores.
class HostDetailsDialog : public QDialog {
    Q_OBJECT

public:
    /// `edited`: the host to edit; null for a new one. `alerts` must outlive the dialog.
    HostDetailsDialog(std::shared_ptr<RemoteHost> edited, AlertPresenter& alerts, QWidget* parent = nullptr);
    ~HostDetailsDialog() override;

    /// The group selected for a new host.
    void setGroup(const QString& name);

    void accept() override;
    void done(int result) override;

Q_SIGNALS:
    /// The host is in the store as it was entered.
    void hostSaved(const std::shared_ptr<RemoteHost>& host);

private:
    QWidget* makeFields();
    QWidget* makeFooter();
    void showHost(const RemoteHost& host);
    /// Hint about the first missing or invalid field; empty when all are valid.
    QString missing() const;
    void fieldsChanged();
    /// A new host with the values of the fields.
    std::shared_ptr<RemoteHost> enteredHost() const;
    QString enteredAddress() const;
    void startTest();
    void cancelTest();
    void showTestState();

    const std::shared_ptr<RemoteHost> edited_;
    AlertPresenter& alerts_;
    QLineEdit* name_ = nullptr;
    QLineEdit* address_ = nullptr;
    QSpinBox* port_ = nullptr;
    QLineEdit* user_ = nullptr;
    QComboBox* group_ = nullptr;
    QLineEdit* homePath_ = nullptr;
    /// The initial text of the field. Saved only if edited: the host's own may change while the dialog is
    /// open.
    QString shownHomePath_;
    AuthnForm* authn_ = nullptr;
    QCheckBox* usesSshConfig_ = nullptr;
    QLabel* hint_ = nullptr;
    QPushButton* test_ = nullptr;
    BusyIndicator* busy_ = nullptr;
    QPushButton* ok_ = nullptr;
    /// Of the connection test under way; null without one.
    std::shared_ptr<Client> client_;
    /// Incremented by each test: the late end of a cancelled one is ignored.
    int testNumber_ = 0;
};

} // namespace korvane
