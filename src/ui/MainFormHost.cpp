#include "MainFormHost.h"

#include "EngineWindow.h"
#include "app/EnginePasswordPrompter.h"
#include "app/EnginePrompter.h"
#include "frmMain.h"
#include "platform/Platform.h"


namespace ui {

namespace {

// The engine together with the window that shows it and the prompter that
// asks its questions; they live exactly as long as the engine.
class ShownEngine final : public excel::Application {
public:
    explicit ShownEngine(platform::Platform& platform)
        : prompter_(platform.messageBox()), passwords_(platform.passwordDialog())
    {
        setObserver(&window_);
        setPrompter(&prompter_);
        setPasswordPrompter(&passwords_);
    }
    ~ShownEngine() override
    {
        setObserver(nullptr);
        setPrompter(nullptr);
        setPasswordPrompter(nullptr);
    }

private:
    EngineWindow window_;
    app::EnginePrompter prompter_;
    app::EnginePasswordPrompter passwords_;
};

}  // namespace

std::unique_ptr<app::MainFormHandle> createMainForm(app::Globals& g) { return std::make_unique<frmMain>(g); }

std::unique_ptr<excel::Application> createEngine(app::Globals& g)
{
    return std::make_unique<ShownEngine>(g.platform);
}

app::MainHooks desktopHooks() { return app::MainHooks{&createEngine, &createMainForm}; }

}  // namespace ui
