#pragma once
// The program's one main window. Every command is a procedure of its own
// under its fixed name; menus, the list's popup menu and the toolbar all lead
// to the same procedures, and the toolbar calls them by name, which is why
// the commands are slots.

#include "ImageList.h"
#include "app/Globals.h"
#include "tasklist/TaskList.h"

#include <QWidget>

class QAction;
class QMenu;
class QMenuBar;
class QProgressBar;
class QTableWidget;
class QToolBar;

namespace ui {

class frmMain : public QWidget, public app::MainFormHandle {
    Q_OBJECT
public:
    explicit frmMain(app::Globals& g, QWidget* parent = nullptr);
    ~frmMain() override;

    // As Main sees the window: loads it and shows it modally until it has
    // closed; then unloads what is left.
    void Show() override;
    void Unload() override;

    // Window start-up: icon, caption, pictures, toolbar, list columns.
    void Form_Load();
    int SetCaption();
    QString GetVersionString();
    int InitImageList();
    int InitToolbar();
    int InitListView();

    // The task list, which lvwTask shows row for row.
    const tasklist::TaskList& tasks() const { return tasks_; }
    void UpdateListView(const QString& WorkbookPath);
    // Every workbook of a folder, as Add Folder adds them once the folder is
    // chosen; a folder that cannot be read gets the folder error report.
    void AddFolderToList(const QString& folder);
    void AdjustColumnWidth(short ColumnIndex, const QString& ColumnText);
    // Width of a text in the window's font, in twips.
    double TextWidth(const QString& text) const;
    // 11 is the busy pointer, 0 the default.
    void setMousePointer(int pointer);
    int MousePointer() const { return mousePointer_; }

    // Key and mouse events of the window and the list.
    void Form_KeyDown(int KeyCode, int Shift);
    // Sets cancel to true when the window is to stay open.
    void Form_QueryUnload(bool& Cancel, int UnloadMode);
    void lvwTask_KeyDown(int KeyCode, int Shift);
    void lvwTask_MouseUp(int Button, int Shift, int X, int Y);
    void tlbMain_ButtonClick(QAction* Button);

    // The split run's helpers.
    QString GetWorkbookShortName(const QString& WorkbookName);
    void InitControlStateBeforeSplit();
    void RestoreControlStateAfterSplit();
    void SetCurrentListItem(int Index);
    bool isSplitRunning() const { return splitRunning_; }

    // Controls, for those who work on them.
    QTableWidget* lvwTask() const { return lvwTask_; }
    QProgressBar* prgSplit() const { return prgSplit_; }
    QToolBar* tlbMain() const { return tlbMain_; }
    const ImageList& ilsMain() const { return ilsMain_; }
    QMenuBar* menuBar() const { return menuBar_; }
    QMenu* menu(const QString& name) const;
    QAction* menuEntry(const QString& name) const;
    double columnWidth(int index) const;  // twips
    app::Globals& globals() const { return g_; }

public slots:
    void mnuAddFile_Click();
    void mnuAddFolder_Click();
    void mnuExit_Click();
    void mnuRemoveItem_Click();
    void mnuClearList_Click();
    void mnuSplit_Click();
    void mnuSettings_Click();
    void mnuApplicationHelp_Click();
    void mnuVisitHomePage_Click() override;
    void mnuSupport_Click() override;
    void mnuAbout_Click();
    void mnuPopupSplit_Click();
    void mnuPopupAddFile_Click();
    void mnuPopupAddFolder_Click();
    void mnuPopupRemoveItem_Click();
    void mnuPopupClearList_Click();

signals:
    // The window has closed for good.
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildControls();
    void buildMenus();
    void centreOnScreen();
    void setColumnWidth(int index, double twips);
    void openSettingLink(const QString& key);
    // Shows a row the task list has just appended.
    void showAddedRow(int index, const tasklist::TaskRow& row);
    // A picture file's largest image; throws 53 when the file is not there
    // and 481 when it holds no picture that can be read.
    QImage LoadPicture(const QString& path);

    app::Globals& g_;
    QMenuBar* menuBar_ = nullptr;
    QWidget* client_ = nullptr;
    QToolBar* tlbMain_ = nullptr;
    QTableWidget* lvwTask_ = nullptr;
    QProgressBar* prgSplit_ = nullptr;
    ImageList ilsMain_;
    tasklist::TaskList tasks_;
    std::vector<double> columnWidths_;  // twips, as the list's column headers keep them
    int mousePointer_ = 0;
    bool centred_ = false;
    bool loaded_ = false;
    bool closing_ = false;
    bool splitRunning_ = false;
    bool closePending_ = false;
    void endRun();

    // How the window shows a listing and a run.
    class WindowListing;
    class WindowRun;
};

}  // namespace ui
