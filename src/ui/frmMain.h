#pragma once
// The program's one main window: fixed size, centred, closed by its frame.

#include <QWidget>

namespace app {
struct Globals;
}

namespace ui {

class frmMain : public QWidget {
    Q_OBJECT
public:
    explicit frmMain(app::Globals& g, QWidget* parent = nullptr);

signals:
    // The window has closed for good.
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void centreOnScreen();
    app::Globals& g_;
    bool centred_ = false;
};

}  // namespace ui
