#include "frmMain.h"

#include "KeyCodes.h"
#include "ListDrop.h"
#include "Twips.h"
#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "app/HelpFile.h"
#include "platform/Platform.h"

#include <QApplication>
#include <QCloseEvent>
#include <QEventLoop>
#include <QFileInfo>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QScreen>
#include <QTableWidget>
#include <QToolBar>
#include <QVBoxLayout>

namespace ui {

namespace {
// The layout in twips.
constexpr int kClientWidth = 8520;
constexpr int kClientHeight = 4800;
constexpr QRect kTask{240, 840, 8055, 3255};
constexpr QRect kProgress{240, 4320, 8055, 255};
constexpr int kToolbarHeight = 570;
}  // namespace

frmMain::frmMain(app::Globals& g, QWidget* parent) : QWidget(parent), g_(g)
{
    setObjectName(QStringLiteral("frmMain"));
    // Fixed single border: minimize and close, no maximize, no resizing.
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                   Qt::WindowCloseButtonHint | Qt::MSWindowsFixedSizeDialogHint);
    setWindowTitle(QString());
    buildControls();
    buildMenus();
    new ListDrop(*this);  // files and folders dropped onto the list
    // The window sees every key first, whichever of its controls has the focus.
    qApp->installEventFilter(this);
}

frmMain::~frmMain() { qApp->removeEventFilter(this); }

void frmMain::buildControls()
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    menuBar_ = new QMenuBar(this);
    menuBar_->setNativeMenuBar(false);
    layout->setMenuBar(menuBar_);

    client_ = new QWidget(this);
    client_->setFixedSize(twipsToPixelsX(*this, kClientWidth), twipsToPixelsY(*this, kClientHeight));
    layout->addWidget(client_);

    auto place = [this](QWidget* w, const QRect& twips) {
        w->setGeometry(twipsToPixelsX(*this, twips.x()), twipsToPixelsY(*this, twips.y()),
                       twipsToPixelsX(*this, twips.width()), twipsToPixelsY(*this, twips.height()));
    };

    prgSplit_ = new QProgressBar(client_);
    prgSplit_->setObjectName(QStringLiteral("prgSplit"));
    prgSplit_->setRange(0, 100);
    prgSplit_->setTextVisible(false);
    place(prgSplit_, kProgress);

    lvwTask_ = new QTableWidget(client_);
    lvwTask_->setObjectName(QStringLiteral("lvwTask"));
    place(lvwTask_, kTask);
    lvwTask_->horizontalHeader()->setVisible(false);  // no column until the list is prepared
    lvwTask_->verticalHeader()->setVisible(false);
    lvwTask_->setShowGrid(false);
    lvwTask_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    lvwTask_->setSelectionMode(QAbstractItemView::SingleSelection);
    lvwTask_->setSelectionBehavior(QAbstractItemView::SelectItems);
    lvwTask_->setWordWrap(false);

    tlbMain_ = new QToolBar(client_);
    tlbMain_->setObjectName(QStringLiteral("tlbMain"));
    tlbMain_->setMovable(false);
    tlbMain_->setFloatable(false);
    tlbMain_->setGeometry(0, 0, client_->width(), twipsToPixelsY(*this, kToolbarHeight));

    setTabOrder(lvwTask_, prgSplit_);
    setTabOrder(prgSplit_, tlbMain_);
    lvwTask_->setFocus();
}

void frmMain::Show()
{
    Form_Load();
    // Modal to the whole application, with no owner window: Main waits here
    // until the window has closed.
    QEventLoop loop;
    connect(this, &frmMain::closed, &loop, &QEventLoop::quit);
    setWindowModality(Qt::ApplicationModal);
    show();
    loop.exec();
}

void frmMain::Unload() { hide(); }

void frmMain::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (!centred_) {
        centred_ = true;
        centreOnScreen();
        lvwTask_->setFocus();
    }
}

void frmMain::centreOnScreen()
{
    const QScreen* screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect avail = screen->availableGeometry();
    const QSize size = frameGeometry().size();
    move(avail.center() - QPoint(size.width() / 2, size.height() / 2));
}

QString frmMain::GetVersionString()
{
    QString result;
    app::guarded(g_.platform.messageBox(), QStringLiteral("GetVersionString"),
                 [&] { result = QString::number(TAMBERLIN_VERSION_MAJOR); });
    return result;
}

int frmMain::SetCaption()
{
    int result = 0;
    app::guarded(g_.platform.messageBox(), QStringLiteral("SetCaption"), [&] {
        QString caption;
        if (g_.gSetting->GetSetting(QStringLiteral("frmMainCaption"), caption) == 2) {
            result = 2;
            return;
        }
        const QString version = GetVersionString();
        setWindowTitle(caption + QLatin1Char(' ') + version + QLatin1Char(' '));
        result = 1;
    });
    return result;
}

void frmMain::setMousePointer(int pointer)
{
    mousePointer_ = pointer;
    if (pointer == 11)
        setCursor(Qt::WaitCursor);
    else
        unsetCursor();
}

QImage frmMain::LoadPicture(const QString& path)
{
    if (!QFileInfo(path).isFile())
        throw tb::Error(tb::err::FileNotFound, "File not found: '" + path.toStdString() + "'.");
    auto picture = g_.platform.pictureLoader().load(path);
    if (!picture)
        throw tb::Error(481, "Invalid picture: '" + path.toStdString() + "' holds no picture that can be read.");
    return *picture;
}

void frmMain::Form_KeyDown(int KeyCode, int /*Shift*/)
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("Form_KeyDown"), [&] {
        if (KeyCode == vbKeyF1)
            app::openHelp(g_.platform.shell(), g_.appDir);
    });
}

void frmMain::Form_QueryUnload(bool& Cancel, int /*UnloadMode*/)
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("Form_QueryUnload"), [&] {
        if (tasks_.count() == 0)
            return;
        const int answer = g_.platform.messageBox().show(QStringLiteral("Do you really want to exit?"),
                                                         platform::mb::YesNoQuestionDefaultNo);
        if (answer != platform::mb::AnswerYes)
            Cancel = true;
    });
}

void frmMain::closeEvent(QCloseEvent* event)
{
    if (splitRunning_) {  // a close asked for during a run waits until the run is over
        closePending_ = true;
        event->ignore();
        return;
    }
    if (closing_) {  // a nested close while the question is up: one question per closing
        event->ignore();
        return;
    }
    closing_ = true;
    bool cancel = false;
    Form_QueryUnload(cancel, 0);
    closing_ = false;
    if (cancel) {
        event->ignore();
        return;
    }
    event->accept();
    emit closed();
}

void frmMain::mnuExit_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuExit_Click"), [&] { close(); });
}

bool frmMain::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        auto* w = qobject_cast<QWidget*>(watched);
        auto* key = static_cast<QKeyEvent*>(event);
        // A key that no control takes travels on up through the parents;
        // the window sees it once, as it reaches the control with the focus.
        QWidget* first = focusWidget() ? focusWidget() : this;
        if (w == first)
            Form_KeyDown(vbKeyCode(key->key()), vbShift(key->modifiers()));
        if (watched == lvwTask_) {
            lvwTask_KeyDown(vbKeyCode(key->key()), vbShift(key->modifiers()));
            if (key->key() == Qt::Key_Delete)
                return true;
        }
    } else if (event->type() == QEvent::MouseButtonRelease && watched == lvwTask_->viewport()) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        lvwTask_MouseUp(vbButton(mouse->button()), vbShift(mouse->modifiers()), mouse->position().toPoint().x(),
                        mouse->position().toPoint().y());
    }
    return QWidget::eventFilter(watched, event);
}

}  // namespace ui
