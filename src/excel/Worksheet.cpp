#include "Worksheet.h"

#include "Application.h"
#include "Workbook.h"

namespace excel {

std::string Worksheet::Name() const
{
    book_->requireOpen();
    return book_->document().worksheetNames().at(index_);
}

SheetVisibility Worksheet::Visible() const
{
    book_->requireOpen();
    return book_->document().worksheetVisibility(index_);
}

bool Worksheet::HasContent() const
{
    book_->requireOpen();
    // A copy made ahead reads the document's lazily built state too.
    book_->copies_.drop();
    return book_->document().worksheetHasContent(index_);
}

void Worksheet::Copy() const
{
    book_->requireOpen();
    Application& app = book_->app_;
    auto doc = book_->copies_.copy(index_, CopySource{book_->FullName(), book_->Name(), app.CopyValuesOnly()});
    const std::string name = app.nextNewBookName();
    auto copy = std::shared_ptr<Workbook>(new Workbook(app, std::move(doc), name, name));
    app.adopt(copy);
    app.notifyOperation("Copied " + Name() + " of " + book_->Name() + " into " + name);
}

}  // namespace excel
