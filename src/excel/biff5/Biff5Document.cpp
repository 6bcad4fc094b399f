#include "Biff5Document.h"

#include "Globals5.h"
#include "SheetCopy5.h"
#include "excel/EngineError.h"
#include "excel/biff/CompoundFileCopy.h"
#include "excel/biff/SheetContent.h"

#include <algorithm>
#include <cctype>

namespace excel::biff5 {

namespace {

constexpr char kBookStream[] = "Book";

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
}

std::vector<std::byte> readWhole(const cfb::Storage& root, const std::string& name, const std::string& file)
{
    auto stream = root.openStream(name);
    if (!stream)
        throw damaged(file, "compound file", "'" + name + "' is not a stream");
    std::vector<std::byte> bytes;
    stream->read(0, static_cast<std::size_t>(stream->size()), bytes);
    return bytes;
}

// A workbook opened from a file. Excel 5.0/95 workbooks are small beside
// the memory of today's machines: the stream is read whole.
class Biff5Source final : public Document {
public:
    Biff5Source(std::shared_ptr<const tb::ByteSource> bytes, std::unique_ptr<cfb::Storage> root,
                std::string streamName, std::string file)
        : bytes_(std::move(bytes)), root_(std::move(root)), streamName_(std::move(streamName)), ctx_{std::move(file), streamName_},
          stream_(readWhole(*root_, streamName_, ctx_.file)), globals_(readGlobals5(stream_, ctx_))
    {
        for (std::size_t i = 0; i < globals_.sheets.size(); ++i) {
            const Sheet5& s = globals_.sheets[i];
            if (s.type != 0 || isDialogSheet5(stream_, s.position))
                continue;
            worksheets_.push_back(i);
            names_.push_back(globals_.codePage.toUtf8(s.rawName));
        }
    }

    Family family() const override { return Family::Biff5; }
    const std::vector<std::string>& worksheetNames() const override { return names_; }
    SheetVisibility worksheetVisibility(std::size_t index) const override
    {
        const std::uint8_t state = globals_.sheets[worksheets_.at(index)].state & 0x03;
        return state == 0 ? SheetVisibility::Visible : state == 1 ? SheetVisibility::Hidden : SheetVisibility::VeryHidden;
    }
    bool worksheetHasContent(std::size_t index) const override
    {
        return biff::sheetHasContent(stream_, globals_.sheets[worksheets_.at(index)].position, ctx_);
    }
    std::string fileExtension() const override { return "xls"; }

    std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const override
    {
        if (index >= worksheets_.size())
            throw tb::Error(tb::err::SubscriptOutOfRange, "'" + ctx_.file + "' has no worksheet number " +
                                                              std::to_string(index + 1) + ".");
        cfb::Node root;
        root.storage = true;
        root.classId = root_->classId();
        for (const std::string& name : root_->childNames()) {
            const std::string l = lower(name);
            if (name == streamName_) {
                cfb::Node book;
                book.name = kBookStream;
                book.data = copySheet5(stream_, globals_, worksheets_[index], source, ctx_);
                root.children.push_back(std::move(book));
            } else if (l == "_vba_project" || l == "_vba_project_cur" || l == "book" || l == "workbook") {
                continue;  // macros stay with the source; no second workbook stream
            } else {
                // Summary information, CompObj, the OLE objects' pool go as they are.
                root.children.push_back(cfb::readTree(*root_, name, ctx_.file));
            }
        }
        return std::make_unique<biff::CompoundFileCopy>(Family::Biff5, std::move(root), names_[index]);
    }

    void save(tb::ByteSink&) const override
    {
        throw engineError(ctx_.file, "a workbook opened from a file is only read; save a copy of one of its sheets.");
    }

private:
    std::shared_ptr<const tb::ByteSource> bytes_;  // the file's, under root_
    std::unique_ptr<cfb::Storage> root_;
    std::string streamName_;
    biff::StreamContext ctx_;
    std::vector<std::byte> stream_;
    Globals5 globals_;
    std::vector<std::size_t> worksheets_;  // index into globals_.sheets of each worksheet
    std::vector<std::string> names_;
};

}  // namespace

bool holdsBiff5(const cfb::Storage& root, const std::string& name)
{
    auto stream = root.openStream(name);
    if (!stream || stream->size() < 8)
        return false;
    std::vector<std::byte> head;
    stream->read(0, 8, head);
    return isBiff5Stream(head);
}

std::unique_ptr<Document> openBiff5(std::shared_ptr<const tb::ByteSource> bytes, std::unique_ptr<cfb::Storage> root,
                                    const std::string& name, const std::string& file)
{
    return std::make_unique<Biff5Source>(std::move(bytes), std::move(root), name, file);
}

}  // namespace excel::biff5
