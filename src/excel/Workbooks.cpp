#include "Workbooks.h"

#include "Application.h"
#include "Workbook.h"
#include "platform/sys/Error.h"
#include "platform/sys/FileBytes.h"
#include "platform/sys/MemoryReuse.h"

#include <algorithm>
#include <filesystem>

namespace excel {

int Workbooks::Count() const
{
    app_.requireRunning();
    return static_cast<int>(app_.books_.size());
}

std::shared_ptr<Workbook> Workbooks::Item(int index) const
{
    app_.requireRunning();
    if (index < 1 || index > Count())
        throw tb::Error(tb::err::SubscriptOutOfRange,
                        "Subscript out of range: there is no open workbook number " + std::to_string(index) + ".");
    return app_.books_[static_cast<std::size_t>(index - 1)];
}

std::shared_ptr<Workbook> Workbooks::Open(const std::string& filename)
{
    app_.requireRunning();
    if (filename.empty())
        throw tb::Error(tb::err::FileNotFound, "Cannot open the workbook: no file name was given.");
    std::error_code ec;
    std::filesystem::path path = std::filesystem::absolute(filename, ec);
    if (ec)
        path = filename;
    path = path.lexically_normal();
    const std::string fullName = path.string();

    for (const auto& b : app_.books_) {
        if (b->fullName_ == fullName) {
            app_.activation_.erase(std::remove(app_.activation_.begin(), app_.activation_.end(), b.get()),
                                   app_.activation_.end());
            app_.activation_.push_back(b.get());
            app_.notifyBooks();
            return b;
        }
    }

    auto bytes = tb::fs::openFileBytes(path);
    auto doc = openDocument(bytes, fullName, app_.passwords_.supplyFor(fullName));
    app_.passwords_.opened(fullName);
    auto book = std::shared_ptr<Workbook>(new Workbook(app_, std::move(doc), fullName, path.filename().string(), bytes));
    app_.adopt(book);
    app_.notifyOperation("Opened " + fullName);
    return book;
}

void Workbooks::Close()
{
    app_.requireRunning();
    // Each close brings the previous workbook back; closing from the most
    // recently activated down keeps that order meaningful to an observer.
    while (!app_.activation_.empty()) {
        auto book = app_.ActiveWorkbook();
        book->Close(false);
    }
    tb::giveBackFreedMemory();
}

}  // namespace excel
