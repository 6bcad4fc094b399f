#include "Workbook.h"

#include "Application.h"
#include "platform/sys/AtomicFile.h"
#include "platform/sys/Error.h"
#include "platform/sys/PathRules.h"

#include <filesystem>
#include <sys/stat.h>

namespace excel {

Workbook::Workbook(Application& app, std::unique_ptr<Document> doc, std::string fullName, std::string name,
                   std::shared_ptr<const tb::ByteSource> source)
    : app_(app), doc_(std::move(doc)), source_(std::move(source)), fullName_(std::move(fullName)), name_(std::move(name)),
      copies_(*doc_, source_, app.worker_)
{
}

void Workbook::requireOpen() const
{
    app_.requireRunning();
    if (!open_)
        throw tb::Error(tb::err::EngineFailure, "The workbook '" + name_ + "' has already been closed.");
}

std::string Workbook::FullName() const
{
    requireOpen();
    return fullName_;
}

std::string Workbook::Name() const
{
    requireOpen();
    return name_;
}

excel::Worksheets Workbook::Worksheets()
{
    requireOpen();
    return excel::Worksheets(shared_from_this());
}

void Workbook::SaveAs(const std::string& filename, int accessMode)
{
    requireOpen();
    if (accessMode != 1)
        throw tb::Error(tb::err::InvalidArgument, "Cannot save '" + name_ + "': only access mode 1 is supported.");
    const std::filesystem::path raw(filename);
    if (const std::string why = tb::fs::whyUnwritable(raw); !why.empty())
        throw tb::Error(tb::err::EngineFailure,
                        "Cannot save the workbook as '" + filename + "': " + why + ". Nothing was written.");
    // The file's own name as Windows would make it; its folder as it is.
    std::filesystem::path target = raw.parent_path() / tb::fs::trimComponent(raw.filename().string());
    std::error_code ec;
    target = std::filesystem::absolute(target, ec).lexically_normal();

    struct stat st {};
    if (::stat(target.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode))
            throw tb::Error(tb::err::PathFileAccess,
                            "Cannot save the workbook as '" + target.string() + "': a folder of that name exists.");
        if (app_.DisplayAlerts()) {
            const std::string question = "A file named '" + target.filename().string() +
                                         "' already exists in this location. Do you want to replace it?";
            if (!app_.askYesNo(question))
                throw tb::Error(tb::err::EngineFailure, "The file '" + target.string() +
                                                            "' was not replaced: the question was answered No.");
        }
    }

    tb::fs::writeFileAtomically(target, [&](tb::ByteSink& sink) { doc_->save(sink); });
    fullName_ = target.string();
    name_ = target.filename().string();
    app_.notifyBooks();
    app_.notifyOperation("Saved " + fullName_);
}

void Workbook::Close(bool saveChanges)
{
    requireOpen();
    if (saveChanges)
        throw tb::Error(tb::err::InvalidArgument,
                        "Cannot close '" + name_ + "' with its changes saved: give it a name with SaveAs first.");
    auto self = shared_from_this();  // keeps this alive while the engine forgets it
    open_ = false;
    copies_.drop();
    app_.forget(this);
    app_.notifyOperation("Closed " + fullName_);
}

}  // namespace excel
