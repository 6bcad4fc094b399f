#include "Application.h"

#include "Workbook.h"
#include "platform/sys/Error.h"

#include <algorithm>

namespace excel {

Application::Application() : workbooks_(*this) {}

Application::~Application()
{
    for (auto& b : books_)
        b->open_ = false;
}

void Application::setObserver(ApplicationObserver* observer)
{
    observer_ = observer;
    if (observer_) {
        observer_->visibleChanged(visible_);
        notifyBooks();
    }
}

void Application::setPrompter(AlertPrompter* prompter) { prompter_ = prompter; }

void Application::requireRunning() const
{
    if (quit_)
        throw tb::Error(tb::err::EngineFailure, "The workbook engine has already been shut down.");
}

void Application::setVisible(bool v)
{
    requireRunning();
    visible_ = v;
    if (observer_)
        observer_->visibleChanged(v);
}

void Application::setDisplayAlerts(bool v)
{
    requireRunning();
    displayAlerts_ = v;
}

void Application::setScreenUpdating(bool v)
{
    requireRunning();
    screenUpdating_ = v;
}

void Application::setAskToUpdateLinks(bool v)
{
    requireRunning();
    askToUpdateLinks_ = v;
}

void Application::setEnableEvents(bool v)
{
    requireRunning();
    enableEvents_ = v;
}

Workbooks& Application::GetWorkbooks()
{
    requireRunning();
    return workbooks_;
}

std::shared_ptr<Workbook> Application::ActiveWorkbook() const
{
    requireRunning();
    if (activation_.empty())
        return nullptr;
    const Workbook* active = activation_.back();
    for (const auto& b : books_) {
        if (b.get() == active)
            return b;
    }
    return nullptr;
}

void Application::Quit()
{
    if (quit_)
        return;
    workbooks_.Close();
    quit_ = true;
    notifyOperation("Shut down");
}

void Application::adopt(std::shared_ptr<Workbook> book)
{
    activation_.push_back(book.get());
    books_.push_back(std::move(book));
    notifyBooks();
}

void Application::forget(const Workbook* book)
{
    activation_.erase(std::remove(activation_.begin(), activation_.end(), book), activation_.end());
    books_.erase(std::remove_if(books_.begin(), books_.end(), [&](const auto& b) { return b.get() == book; }),
                 books_.end());
    notifyBooks();
}

std::string Application::nextNewBookName() { return "Book" + std::to_string(++newBookCounter_); }

void Application::notifyBooks()
{
    if (!observer_)
        return;
    std::vector<std::string> names;
    int active = -1;
    for (std::size_t i = 0; i < books_.size(); ++i) {
        names.push_back(books_[i]->FullName());
        if (!activation_.empty() && books_[i].get() == activation_.back())
            active = static_cast<int>(i);
    }
    observer_->workbooksChanged(names, active);
}

void Application::notifyOperation(const std::string& text)
{
    if (observer_)
        observer_->operationDone(text);
}

bool Application::askYesNo(const std::string& text)
{
    // Without anyone to ask, the question is not answered with Yes.
    return prompter_ != nullptr && prompter_->askYesNo(text);
}

}  // namespace excel
