#include "frmOptions.h"

#include "Twips.h"
#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "app/TextToBoolean.h"
#include "platform/Platform.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QKeyEvent>
#include <QPushButton>

namespace ui {

frmOptions::frmOptions(app::Globals& g, QWidget* parent) : QDialog(parent), g_(g)
{
    setObjectName(QStringLiteral("frmOptions"));
    setWindowTitle(QStringLiteral("Options"));
    setWindowFlags(Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint |
                   Qt::MSWindowsFixedSizeDialogHint);
    setFixedSize(twipsToPixelsX(*this, 5055), twipsToPixelsY(*this, 3540));
    auto place = [this](QWidget* w, int x, int y, int wd, int ht) {
        w->setGeometry(twipsToPixelsX(*this, x), twipsToPixelsY(*this, y), twipsToPixelsX(*this, wd),
                       twipsToPixelsY(*this, ht));
    };

    FrameOption_ = new QGroupBox(this);
    FrameOption_->setObjectName(QStringLiteral("FrameOption"));
    place(FrameOption_, 480, 360, 4095, 2175);
    chkDisplayExcel_ = new QCheckBox(QStringLiteral("Display Excel"), FrameOption_);
    chkDisplayExcel_->setObjectName(QStringLiteral("chkDisplayExcel"));
    place(chkDisplayExcel_, 480, 600, 3375, 375);
    chkDisplayExcelAlerts_ = new QCheckBox(QStringLiteral("Display Excel Alerts"), FrameOption_);
    chkDisplayExcelAlerts_->setObjectName(QStringLiteral("chkDisplayExcelAlerts"));
    place(chkDisplayExcelAlerts_, 480, 1320, 3135, 375);

    auto button = [&](const char* name, const char* caption, int x) {
        auto* b = new QPushButton(QString::fromLatin1(caption), this);
        b->setObjectName(QString::fromLatin1(name));
        b->setAutoDefault(false);  // no button of this dialog is the default
        b->setDefault(false);
        place(b, x, 2895, 1095, 375);
        return b;
    };
    cmdApply_ = button("cmdApply", "Apply", 3360);
    cmdCancel_ = button("cmdCancel", "Cancel", 2160);
    cmdOK_ = button("cmdOK", "OK", 930);
    connect(cmdOK_, &QPushButton::clicked, this, &frmOptions::cmdOK_Click);
    connect(cmdCancel_, &QPushButton::clicked, this, &frmOptions::cmdCancel_Click);
    connect(cmdApply_, &QPushButton::clicked, this, &frmOptions::cmdApply_Click);

    setTabOrder(cmdOK_, cmdCancel_);
    setTabOrder(cmdCancel_, cmdApply_);
    setTabOrder(cmdApply_, chkDisplayExcelAlerts_);
    setTabOrder(chkDisplayExcelAlerts_, chkDisplayExcel_);
    cmdOK_->setFocus();  // the first of the tab order
}

app::clsSetting& frmOptions::store() const
{
    if (!g_.gSetting)
        throw tb::Error(tb::err::ObjectNotSet, "Object variable or With block variable not set");
    return *g_.gSetting;
}

// Esc presses Cancel, as the button's own click would; the close box goes
// the plain way of reject(), which writes nothing either.
void frmOptions::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        cmdCancel_->click();
        return;
    }
    QDialog::keyPressEvent(event);
}

void frmOptions::Form_Load()
{
    LoadCheckState(chkDisplayExcel_, QStringLiteral("DisplayExcel"));
    LoadCheckState(chkDisplayExcelAlerts_, QStringLiteral("DisplayExcelAlerts"));
}

void frmOptions::LoadCheckState(QCheckBox* chkBox, const QString& KeyName)
{
    QString text;  // an absent key leaves it empty, which checks nothing
    store().GetSetting(KeyName, text);
    const auto value = app::numericValue(text);
    chkBox->setChecked(value && *value == 1.0);
}

void frmOptions::SaveOptions()
{
    // The box's value in decimal digits; a key the file lacks stays absent.
    auto text = [](const QCheckBox* box) { return box->isChecked() ? QStringLiteral("1") : QStringLiteral("0"); };
    store().SetSetting(QStringLiteral("DisplayExcel"), text(chkDisplayExcel_));
    store().SetSetting(QStringLiteral("DisplayExcelAlerts"), text(chkDisplayExcelAlerts_));
}

// The buttons' procedures have no caller to hand a failure to; it is
// reported under the procedure's name and the dialog stays as it is.
void frmOptions::cmdOK_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("cmdOK_Click"), [&] {
        SaveOptions();
        accept();
    });
}

void frmOptions::cmdCancel_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("cmdCancel_Click"), [&] { reject(); });
}

void frmOptions::cmdApply_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("cmdApply_Click"), [&] { SaveOptions(); });
}

}  // namespace ui
