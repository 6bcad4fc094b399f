#include "frmMain.h"

#include "Twips.h"
#include "app/Globals.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QScreen>

namespace ui {

namespace {
constexpr int kClientWidthTwips = 8520;
constexpr int kClientHeightTwips = 4800;
}  // namespace

frmMain::frmMain(app::Globals& g, QWidget* parent) : QWidget(parent), g_(g)
{
    setObjectName(QStringLiteral("frmMain"));
    // Fixed single border: minimize and close, no maximize, no resizing.
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                   Qt::WindowCloseButtonHint | Qt::MSWindowsFixedSizeDialogHint);
    setFixedSize(twipsToPixelsX(*this, kClientWidthTwips), twipsToPixelsY(*this, kClientHeightTwips));
    setWindowTitle(QString());
}

void frmMain::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (!centred_) {
        centred_ = true;
        centreOnScreen();
    }
}

void frmMain::centreOnScreen()
{
    const QScreen* screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect avail = screen->availableGeometry();
    const QRect frame = frameGeometry();
    move(avail.center() - QPoint(frame.width() / 2, frame.height() / 2) + (pos() - frame.topLeft()));
}

void frmMain::closeEvent(QCloseEvent* event)
{
    event->accept();
    emit closed();
}

}  // namespace ui
