// Takes the screenshots under docs/: the real window, engine and Qt
// platform on a display (Xvfb will do), with only the folder browser and the
// desktop hand-over answered here so that nothing waits for a person.
//
//   tamberlin-screenshots OUT_DIR WORKBOOK...

#include "app/EnginePasswordPrompter.h"
#include "app/EnginePrompter.h"
#include "app/Globals.h"
#include "platform/qt/QtPlatform.h"
#include "ui/frmMain.h"

#include <QApplication>
#include <QDir>
#include <QScreen>
#include <QMessageBox>
#include <QProgressBar>
#include <QTableWidget>
#include <QTimer>

#include <cstdio>

namespace {

class DemoPlatform final : public platform::Platform, public platform::FolderBrowser, public platform::Shell {
public:
    explicit DemoPlatform(QString folder) : folder_(std::move(folder)) {}
    platform::MessageBox& messageBox() override { return real_.messageBox(); }
    platform::FolderBrowser& folderBrowser() override { return *this; }
    platform::FileDialog& fileDialog() override { return real_.fileDialog(); }
    platform::Shell& shell() override { return *this; }
    platform::KeySender& keySender() override { return real_.keySender(); }
    platform::Registry& registry() override { return real_.registry(); }
    platform::PictureLoader& pictureLoader() override { return real_.pictureLoader(); }
    platform::PasswordDialog& passwordDialog() override { return real_.passwordDialog(); }

    QString browseForFolder(const QString&, const QString&) override { return folder_; }
    void openWithDefaultHandler(const QString&) override {}
    bool hasDefaultHandler(const QString&) override { return true; }
    bool startDetached(const QString&, const QStringList&) override { return true; }

private:
    platform::qt::QtPlatform real_;
    QString folder_;
};

void save(QWidget* w, const QString& file)
{
    if (!w)
        return;
    w->grab().save(file);
    std::printf("%s\n", qPrintable(file));
}

// Grabs the next modal window that comes up into `file`, then closes it.
// With `over` given, the picture is the screen where that window stands, so
// that it shows the modal one over it as the user sees them.
void grabNextModal(const QString& file, QWidget* over = nullptr)
{
    auto* timer = new QTimer;
    QObject::connect(timer, &QTimer::timeout, [timer, file, over] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal || !modal->isVisible())
            return;
        QApplication::processEvents();
        if (over) {
            const QRect area = over->frameGeometry();
            over->screen()->grabWindow(0, area.x(), area.y(), area.width(), area.height()).save(file);
            std::printf("%s\n", qPrintable(file));
        } else {
            save(modal, file);
        }
        modal->close();
        timer->deleteLater();
    });
    timer->start(200);
}

}  // namespace

int main(int argc, char** argv)
{
    QApplication qapp(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: tamberlin-screenshots OUT_DIR WORKBOOK...\n");
        return 2;
    }
    const QString out = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(out);
    const QString split = QDir::tempPath() + QStringLiteral("/tamberlin-screenshot-run");
    QDir(split).removeRecursively();
    QDir().mkpath(split);

    DemoPlatform platform(split);
    app::Globals g(platform, QCoreApplication::applicationDirPath());
    g.helpFile = g.appDir + QStringLiteral("/help/help.chm");
    g.gSetting = std::make_unique<app::clsSetting>(g.appDir + QStringLiteral("/Config/Config.cfg"), platform.messageBox());
    g.gExcelApp = std::make_unique<excel::Application>();
    app::EnginePrompter prompter(platform.messageBox());
    g.gExcelApp->setPrompter(&prompter);
    app::EnginePasswordPrompter passwords(platform.passwordDialog());
    g.gExcelApp->setPasswordPrompter(&passwords);
    g.gExcelApp->setDisplayAlerts(false);
    auto form = new ui::frmMain(g);
    g.gMainForm.reset(form);
    form->Form_Load();
    form->show();
    for (int i = 2; i < argc; ++i)
        form->UpdateListView(QString::fromLocal8Bit(argv[i]));
    QApplication::processEvents();
    save(form, out + QStringLiteral("/main-window.png"));

    // A run: the window halfway, then the closing message.
    int rowsDone = 0;
    QObject::connect(form->prgSplit(), &QProgressBar::valueChanged, [&](int v) {
        if (v > 1 && ++rowsDone == form->lvwTask()->rowCount() / 2) {
            QApplication::processEvents();
            save(form, out + QStringLiteral("/split-running.png"));
        }
    });
    grabNextModal(out + QStringLiteral("/split-complete.png"), form);
    form->mnuSplit_Click();

    grabNextModal(out + QStringLiteral("/options.png"));
    form->mnuSettings_Click();
    grabNextModal(out + QStringLiteral("/about.png"));
    form->mnuAbout_Click();

    form->hide();
    g.gMainForm.reset();
    return 0;
}
