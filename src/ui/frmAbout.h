#pragma once
// The about dialog: title, icon, version, a legal notice, the two links and
// the button that starts the system's information tool.

#include <QDialog>

class QKeyEvent;
class QLabel;
class QPushButton;

namespace app {
struct Globals;
}

namespace ui {

class frmAbout : public QDialog {
    Q_OBJECT
public:
    explicit frmAbout(app::Globals& g, QWidget* parent = nullptr);

    // Fills the dialog; a missing icon or cursor throws to the caller.
    void Form_Load();

    // Starts the information tool found through the two lookups, or says
    // "System Information Is Unavailable At This Time".
    void StartSysInfo();
    // One lookup: true and the value in KeyVal, or false and KeyVal empty.
    bool GetKeyValue(const QString& KeyRoot, const QString& KeyName, const QString& SubKeyRef, QString& KeyVal);

    QLabel* lblTitle() const { return lblTitle_; }
    QLabel* lblVersion() const { return lblVersion_; }
    QLabel* lblDisclaimer() const { return lblDisclaimer_; }
    QLabel* lblVisitHomePage() const { return lblVisitHomePage_; }
    QLabel* lblTechnicalSupport() const { return lblTechnicalSupport_; }
    QLabel* picIcon() const { return picIcon_; }
    QPushButton* cmdOK() const { return cmdOK_; }
    QPushButton* cmdSysInfo() const { return cmdSysInfo_; }

public slots:
    void cmdOK_Click();
    void cmdSysInfo_Click();
    void lblTechnicalSupport_Click();
    void lblVisitHomePage_Click();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void SetLinkStyle(QLabel* lblLink);

    app::Globals& g_;
    QLabel* picIcon_;
    QPushButton* cmdOK_;
    QPushButton* cmdSysInfo_;
    QLabel* lblTechnicalSupport_;
    QLabel* lblVisitHomePage_;
    QLabel* lblTitle_;
    QLabel* lblVersion_;
    QLabel* lblDisclaimer_;
};

}  // namespace ui
