#include "MainFormHost.h"

#include "EngineWindow.h"
#include "app/EnginePrompter.h"
#include "frmMain.h"
#include "platform/Platform.h"

#include <QEventLoop>
#include <QPointer>

namespace ui {

namespace {

class MainFormHandle final : public app::MainFormHandle {
public:
    explicit MainFormHandle(app::Globals& g) : form_(new frmMain(g)) {}
    ~MainFormHandle() override { delete form_.data(); }

    void Show() override
    {
        // Modal to the whole application, with no owner window: Main waits
        // here until the window has closed.
        QEventLoop loop;
        QObject::connect(form_.data(), &frmMain::closed, &loop, &QEventLoop::quit);
        QObject::connect(form_.data(), &QObject::destroyed, &loop, &QEventLoop::quit);
        form_->setWindowModality(Qt::ApplicationModal);
        form_->show();
        loop.exec();
    }

    void Unload() override
    {
        if (form_)
            form_->hide();
    }

private:
    QPointer<frmMain> form_;
};

// The engine together with the window that shows it and the prompter that
// asks its questions; they live exactly as long as the engine.
class ShownEngine final : public excel::Application {
public:
    explicit ShownEngine(platform::MessageBox& box) : prompter_(box)
    {
        setObserver(&window_);
        setPrompter(&prompter_);
    }
    ~ShownEngine() override
    {
        setObserver(nullptr);
        setPrompter(nullptr);
    }

private:
    EngineWindow window_;
    app::EnginePrompter prompter_;
};

}  // namespace

std::unique_ptr<app::MainFormHandle> createMainForm(app::Globals& g) { return std::make_unique<MainFormHandle>(g); }

std::unique_ptr<excel::Application> createEngine(app::Globals& g)
{
    return std::make_unique<ShownEngine>(g.platform.messageBox());
}

app::MainHooks desktopHooks() { return app::MainHooks{&createEngine, &createMainForm}; }

}  // namespace ui
