#pragma once
// What the engine tells whoever shows it: its visibility, the workbooks it has
// open and the operations it has just done. The engine works the same with or
// without an observer.

#include <string>
#include <vector>

namespace excel {

class ApplicationObserver {
public:
    virtual ~ApplicationObserver() = default;
    virtual void visibleChanged(bool visible) = 0;
    virtual void workbooksChanged(const std::vector<std::string>& fullNames, int activeIndex) = 0;
    virtual void operationDone(const std::string& description) = 0;
};

// Puts the engine's own questions to the user while DisplayAlerts is on.
class AlertPrompter {
public:
    virtual ~AlertPrompter() = default;
    // Answers true for Yes.
    virtual bool askYesNo(const std::string& text) = 0;
};

}  // namespace excel
