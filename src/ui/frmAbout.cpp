#include "frmAbout.h"

#include "Twips.h"
#include "app/AppPaths.h"
#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "platform/Platform.h"

#include <QCursor>
#include <QFile>
#include <QFileInfo>
#include <QFrame>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPixmap>
#include <QPushButton>

namespace ui {

namespace {

const QString kTitle = QStringLiteral("Tamberlin");
const QString kLegalNotice = QStringLiteral(
    "Copyright (C) 2009-2026 the Tamberlin developers.\n"
    "This program comes without warranty of any kind, express or implied.");

const QString kSysInfoUnavailable = QStringLiteral("System Information Is Unavailable At This Time");

// The hot spot a cursor file gives its first image, or nothing.
std::optional<QPoint> cursorHotSpot(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray h = f.read(14);
    if (h.size() < 14 || h[2] != 2 || h[3] != 0)  // type 2: a cursor file
        return std::nullopt;
    auto u16 = [&](int at) { return static_cast<int>(static_cast<uchar>(h[at]) | (static_cast<uchar>(h[at + 1]) << 8)); };
    return QPoint(u16(10), u16(12));
}

}  // namespace

frmAbout::frmAbout(app::Globals& g, QWidget* parent) : QDialog(parent), g_(g)
{
    setObjectName(QStringLiteral("frmAbout"));
    setWindowFlags(Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint |
                   Qt::MSWindowsFixedSizeDialogHint);
    setFixedSize(twipsToPixelsX(*this, 5670), twipsToPixelsY(*this, 4245));
    // The dialog's texts are laid out for 8.25-point type; at the desktop's
    // usual 9 or 10 points "System Info..." would not fit its button.
    QFont small = font();
    small.setPointSizeF(8.25);
    setFont(small);
    auto place = [this](QWidget* w, int x, int y, int wd, int ht) {
        w->setGeometry(twipsToPixelsX(*this, x), twipsToPixelsY(*this, y), twipsToPixelsX(*this, wd),
                       twipsToPixelsY(*this, ht));
    };
    auto label = [&](const char* name, const QString& text, int x, int y, int wd, int ht) {
        auto* l = new QLabel(text, this);
        l->setObjectName(QString::fromLatin1(name));
        place(l, x, y, wd, ht);
        return l;
    };

    picIcon_ = label("picIcon", QString(), 240, 240, 540, 540);
    cmdOK_ = new QPushButton(QStringLiteral("OK"), this);
    cmdOK_->setObjectName(QStringLiteral("cmdOK"));
    place(cmdOK_, 4245, 2880, 1260, 345);
    cmdOK_->setDefault(true);  // Enter presses it, and so does Esc (keyPressEvent)
    cmdSysInfo_ = new QPushButton(QStringLiteral("&System Info..."), this);
    cmdSysInfo_->setObjectName(QStringLiteral("cmdSysInfo"));
    cmdSysInfo_->setAutoDefault(false);
    place(cmdSysInfo_, 4260, 3360, 1245, 345);
    lblTechnicalSupport_ = label("lblTechnicalSupport", QStringLiteral("Technical Support"), 1080, 1560, 1305, 195);
    lblVisitHomePage_ = label("lblVisitHomePage", QStringLiteral("VisitHomePage"), 1080, 1200, 1080, 195);
    for (QLabel* link : {lblTechnicalSupport_, lblVisitHomePage_}) {
        link->adjustSize();  // AutoSize
        link->installEventFilter(this);
    }
    lblTitle_ = label("lblTitle", QString(), 1050, 240, 3885, 480);
    QFont titleFont = lblTitle_->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.6);
    titleFont.setBold(true);
    lblTitle_->setFont(titleFont);
    lblVersion_ = label("lblVersion", QString(), 1050, 780, 3885, 225);
    lblDisclaimer_ = label("lblDisclaimer", QString(), 255, 2625, 3870, 1305);
    lblDisclaimer_->setWordWrap(true);
    lblDisclaimer_->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    // The etched rule between the text and the buttons: a grey line with a
    // white one of double width just below it.
    auto rule = [&](const char* name, int x1, int y, int x2, int width, const char* colour) {
        auto* line = new QFrame(this);
        line->setObjectName(QString::fromLatin1(name));
        const int left = twipsToPixelsX(*this, x1);
        line->setGeometry(left, twipsToPixelsY(*this, y), twipsToPixelsX(*this, x2) - left + 1, width);
        line->setStyleSheet(QStringLiteral("background-color: %1;").arg(QLatin1String(colour)));
    };
    rule("Line1_1", 90, 2445, 5654, 1, "#808080");
    rule("Line1_0", 105, 2460, 5654, 2, "#ffffff");

    connect(cmdOK_, &QPushButton::clicked, this, &frmAbout::cmdOK_Click);
    connect(cmdSysInfo_, &QPushButton::clicked, this, &frmAbout::cmdSysInfo_Click);
    setTabOrder(cmdOK_, cmdSysInfo_);
}

void frmAbout::Form_Load()
{
    setWindowTitle(QStringLiteral("About ") + kTitle);
    lblVersion_->setText(QStringLiteral("Version %1.%2.%3")
                             .arg(TAMBERLIN_VERSION_MAJOR)
                             .arg(TAMBERLIN_VERSION_MINOR)
                             .arg(TAMBERLIN_VERSION_PATCH));
    lblTitle_->setText(kTitle);
    SetLinkStyle(lblVisitHomePage_);
    SetLinkStyle(lblTechnicalSupport_);
    const QString iconPath = app::appFile(g_.appDir, QStringLiteral("\\Icon\\AppMain.ico"));
    auto icon = g_.platform.pictureLoader().load(iconPath);
    if (!icon)
        throw tb::Error(481, "Invalid picture: '" + iconPath.toStdString() + "' is missing or cannot be read.");
    picIcon_->setPixmap(QPixmap::fromImage(icon->scaled(32, 32, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
    picIcon_->adjustSize();  // AutoSize
    lblDisclaimer_->setText(kLegalNotice);
}

void frmAbout::SetLinkStyle(QLabel* lblLink)
{
    QFont font = lblLink->font();
    font.setUnderline(true);
    lblLink->setFont(font);
    QPalette palette = lblLink->palette();
    palette.setColor(QPalette::WindowText, QColor(0, 0, 255));
    lblLink->setPalette(palette);
    const QString cursorPath = app::appFile(g_.appDir, QStringLiteral("\\icon\\hand.cur"));
    auto picture = g_.platform.pictureLoader().load(cursorPath);
    if (!picture)
        throw tb::Error(481, "Invalid picture: '" + cursorPath.toStdString() + "' is missing or cannot be read.");
    const QPoint hot = cursorHotSpot(cursorPath).value_or(QPoint(12, 1));
    lblLink->setCursor(QCursor(QPixmap::fromImage(*picture), hot.x(), hot.y()));
    lblLink->adjustSize();
}

void frmAbout::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        cmdOK_->click();
        return;
    }
    QDialog::keyPressEvent(event);
}

bool frmAbout::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonRelease && static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        if (watched == lblVisitHomePage_) {
            lblVisitHomePage_Click();
            return true;
        }
        if (watched == lblTechnicalSupport_) {
            lblTechnicalSupport_Click();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

// The buttons' procedures have no caller to hand a failure to; it is
// reported under the procedure's name and the dialog stays open.
void frmAbout::cmdOK_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("cmdOK_Click"), [&] { accept(); });
}

void frmAbout::cmdSysInfo_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("cmdSysInfo_Click"), [&] { StartSysInfo(); });
}

void frmAbout::lblTechnicalSupport_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("lblTechnicalSupport_Click"), [&] {
        if (!g_.gMainForm)
            throw tb::Error(tb::err::ObjectNotSet, "Object variable or With block variable not set");
        g_.gMainForm->mnuSupport_Click();
    });
}

void frmAbout::lblVisitHomePage_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("lblVisitHomePage_Click"), [&] {
        if (!g_.gMainForm)
            throw tb::Error(tb::err::ObjectNotSet, "Object variable or With block variable not set");
        g_.gMainForm->mnuVisitHomePage_Click();
    });
}

void frmAbout::StartSysInfo()
{
    const QString root = QStringLiteral("HKEY_LOCAL_MACHINE");
    try {
        QString path;
        if (!GetKeyValue(root, QStringLiteral("SOFTWARE\\Microsoft\\Shared Tools\\MSINFO"), QStringLiteral("PATH"), path)) {
            if (!GetKeyValue(root, QStringLiteral("SOFTWARE\\Microsoft\\Shared Tools Location"), QStringLiteral("MSINFO"),
                             path))
                throw tb::Error(tb::err::FileNotFound, "no information tool is registered");
            const QString candidate = path + QStringLiteral("/MSINFO32.EXE");
            if (!QFileInfo(candidate).isFile())
                throw tb::Error(tb::err::FileNotFound, "the registered information tool is missing");
            path = candidate;
        }
        if (!g_.platform.shell().startDetached(path, {}))
            throw tb::Error(tb::err::FileNotFound, "the information tool could not be started");
    } catch (...) {
        g_.platform.messageBox().show(kSysInfoUnavailable, platform::mb::OkOnly);
    }
}

bool frmAbout::GetKeyValue(const QString& KeyRoot, const QString& KeyName, const QString& SubKeyRef, QString& KeyVal)
{
    constexpr int kBufferSize = 1024;
    const platform::RegistryValue value = g_.platform.registry().query(KeyRoot, KeyName, SubKeyRef);
    if (value.status != platform::reg::Success || value.data.size() > kBufferSize) {
        KeyVal.clear();
        return false;
    }
    const auto size = static_cast<int>(value.data.size());
    if (size == 0)  // nothing to cut: the failure ends in the caller's message
        throw tb::Error(tb::err::InvalidArgument, "Invalid procedure call or argument: the value is empty.");
    // The last character goes when it is the terminating NUL.
    const QByteArray kept = value.data.at(size - 1) == '\0' ? value.data.left(size - 1) : value.data;
    if (value.type == platform::reg::TypeString) {
        KeyVal = QString::fromLocal8Bit(kept);
    } else if (value.type == platform::reg::TypeDword) {
        QString hex = KeyVal;
        for (auto it = kept.rbegin(); it != kept.rend(); ++it)
            hex += QString::number(static_cast<uchar>(*it), 16);
        bool ok = false;
        const qulonglong n = hex.toULongLong(&ok, 16);
        KeyVal = ok ? QString::number(n) : QStringLiteral("&h") + hex;
    }
    return true;
}

}  // namespace ui
