#pragma once
// The engine's root object. It keeps the workbooks that are open, which of
// them is active, and the four rules every caller rests on:
//   1. after Workbooks.Open, the opened workbook is active;
//   2. after Worksheet.Copy, the new one-sheet workbook is active;
//   3. after Close on the active workbook, the one active before it is active again;
//   4. after SaveAs, the same workbook is still active.

#include "ApplicationObserver.h"
#include "PasswordKeeper.h"
#include "Workbooks.h"
#include "WorkerThread.h"

#include <memory>
#include <string>
#include <vector>

namespace excel {

class Workbook;

class Application {
public:
    Application();
    virtual ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    // Whoever shows the engine, and whoever answers its questions; either may
    // be null. Not owned.
    void setObserver(ApplicationObserver* observer);
    void setPrompter(AlertPrompter* prompter);
    // Who asks for the password of an encrypted workbook; may be null. Not owned.
    void setPasswordPrompter(PasswordPrompter* prompter) { passwords_.setPrompter(prompter); }

    bool Visible() const { return visible_; }
    void setVisible(bool v);
    bool DisplayAlerts() const { return displayAlerts_; }
    void setDisplayAlerts(bool v);
    bool ScreenUpdating() const { return screenUpdating_; }
    void setScreenUpdating(bool v);
    bool AskToUpdateLinks() const { return askToUpdateLinks_; }
    void setAskToUpdateLinks(bool v);
    bool EnableEvents() const { return enableEvents_; }
    void setEnableEvents(bool v);
    // Copies made from now on keep values where formulas reach outside the
    // sheet, and no link to the source (CopySource::valuesOnly).
    bool CopyValuesOnly() const { return copyValuesOnly_; }
    void setCopyValuesOnly(bool v) { copyValuesOnly_ = v; }

    Workbooks& GetWorkbooks();
    // Null when no workbook is open.
    std::shared_ptr<Workbook> ActiveWorkbook() const;
    // Closes every workbook without saving and shuts the engine down; any
    // later call fails.
    void Quit();
    bool hasQuit() const { return quit_; }

private:
    friend class Workbooks;
    friend class Workbook;
    friend class Worksheet;

    void requireRunning() const;
    // Takes a workbook into the open list and makes it active.
    void adopt(std::shared_ptr<Workbook> book);
    void forget(const Workbook* book);
    std::string nextNewBookName();
    void notifyBooks();
    void notifyOperation(const std::string& text);
    bool askYesNo(const std::string& text);

    bool visible_ = false;
    bool displayAlerts_ = true;
    bool screenUpdating_ = true;
    bool askToUpdateLinks_ = true;
    bool enableEvents_ = true;
    bool copyValuesOnly_ = false;
    bool quit_ = false;
    int newBookCounter_ = 0;

    std::vector<std::shared_ptr<Workbook>> books_;  // in opening order
    std::vector<Workbook*> activation_;             // last is active
    Workbooks workbooks_;
    ApplicationObserver* observer_ = nullptr;
    AlertPrompter* prompter_ = nullptr;
    PasswordKeeper passwords_;
    // Shared with every workbook, which may outlive the application.
    std::shared_ptr<WorkerThread> worker_ = std::make_shared<WorkerThread>();
};

}  // namespace excel
