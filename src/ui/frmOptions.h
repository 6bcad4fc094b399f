#pragma once
// The options dialog: the two settings that govern the workbook engine, as
// check boxes over the settings store. A change reaches the settings file at
// exit and the engine at the next start.

#include <QDialog>

class QCheckBox;
class QGroupBox;
class QKeyEvent;
class QPushButton;

namespace app {
struct Globals;
class clsSetting;
}  // namespace app

namespace ui {

class frmOptions : public QDialog {
    Q_OBJECT
public:
    explicit frmOptions(app::Globals& g, QWidget* parent = nullptr);

    // Reads the two keys into the boxes. Failures go to the caller.
    void Form_Load();

    QCheckBox* chkDisplayExcel() const { return chkDisplayExcel_; }
    QCheckBox* chkDisplayExcelAlerts() const { return chkDisplayExcelAlerts_; }
    QPushButton* cmdOK() const { return cmdOK_; }
    QPushButton* cmdCancel() const { return cmdCancel_; }
    QPushButton* cmdApply() const { return cmdApply_; }

public slots:
    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdApply_Click();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    // gSetting, or error 91 when there is none.
    app::clsSetting& store() const;
    void LoadCheckState(QCheckBox* chkBox, const QString& KeyName);
    void SaveOptions();

    app::Globals& g_;
    QGroupBox* FrameOption_;
    QCheckBox* chkDisplayExcel_;
    QCheckBox* chkDisplayExcelAlerts_;
    QPushButton* cmdApply_;
    QPushButton* cmdCancel_;
    QPushButton* cmdOK_;
};

}  // namespace ui
