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

/// Enters a new host, or changes one, in the store. Nothing is changed unless all of it is. Main thread;
/// needs the shared stores.
class HostDetailsDialog : public QDialog {
    Q_OBJECT

public:
    /// `edited`: the host that is changed; null for a new one. `alerts` must outlive the dialog.
    HostDetailsDialog(std::shared_ptr<RemoteHost> edited, AlertPresenter& alerts, QWidget* parent = nullptr);
    ~HostDetailsDialog() override;

    /// The group that a new host is to be in.
    void setGroup(const QString& name);

    void accept() override;
    void done(int result) override;

Q_SIGNALS:
    /// The store holds the host as it was entered.
    void hostSaved(const std::shared_ptr<RemoteHost>& host);

private:
    QWidget* makeFields();
    QWidget* makeFooter();
    void showHost(const RemoteHost& host);
    /// What is still to be entered or to be corrected; empty when all is there.
    QString missing() const;
    void fieldsChanged();
    /// A host of its own, as the fields say.
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
    /// What the field said at first: only a change of it is one of the host, whose own may change meanwhile.
    QString shownHomePath_;
    AuthnForm* authn_ = nullptr;
    QCheckBox* usesSshConfig_ = nullptr;
    QLabel* hint_ = nullptr;
    QPushButton* test_ = nullptr;
    BusyIndicator* busy_ = nullptr;
    QPushButton* ok_ = nullptr;
    /// The connection that is tried out, null for none.
    std::shared_ptr<Client> client_;
    /// Tells the end of the test under way from the late end of a cancelled one.
    int testNumber_ = 0;
};

} // namespace korvane
