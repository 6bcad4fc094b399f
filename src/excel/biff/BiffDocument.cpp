#include "BiffDocument.h"

#include "CompoundFileCopy.h"
#include "Globals.h"
#include "RecordTypes.h"
#include "SheetContent.h"
#include "SheetCopy.h"
#include "StreamRecords.h"
#include "Strings.h"
#include "excel/EngineError.h"
#include "excel/Repairs.h"
#include "excel/biff5/Biff5Document.h"
#include "excel/cfb/CompoundFile.h"
#include "excel/crypto/WorkbookDecryption.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace excel::biff {

namespace {

constexpr std::uint16_t kDialogBit = 0x0010;  // WsBool.fDialog
constexpr int kHeaderScan = 64;               // records looked at before a sheet's WSBOOL

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
}

// Finds a child by name as the compound file compares them: case-blind.
std::string findChild(const cfb::Storage& st, const std::string& name)
{
    for (const std::string& n : st.childNames())
        if (lower(n) == lower(name))
            return n;
    return {};
}

// Sheets' substreams read through one handle on the stream: in place where
// a range's sectors are contiguous, else gathered into the handle's one
// buffer, reused.
class StreamSubstreams final : public Substreams {
public:
    StreamSubstreams(std::unique_ptr<cfb::Stream> stream, const Globals& globals) : stream_(std::move(stream))
    {
        for (const SheetEntry& s : globals.sheets)
            starts_.push_back(s.position);
        std::sort(starts_.begin(), starts_.end());
    }

    std::size_t size() const override { return static_cast<std::size_t>(stream_->size()); }

    std::size_t endOf(std::size_t position) const override
    {
        const auto next = std::upper_bound(starts_.begin(), starts_.end(), position);
        return next == starts_.end() ? size() : std::min<std::size_t>(*next, size());
    }

    Bytes read(std::size_t position, std::size_t n) override { return stream_->view(position, n); }

private:
    std::unique_ptr<cfb::Stream> stream_;
    std::vector<std::size_t> starts_;  // of every sheet, sorted
};

// A workbook opened from a file. Listing has read the globals substream and
// the first records of each sheet; a copy reads the sheet and those its
// formulas reach.
class BiffSource final : public Document {
public:
    // `streamName`: the Workbook stream's name as the file spells it.
    BiffSource(std::unique_ptr<cfb::Storage> root, std::string streamName, std::string file,
               std::shared_ptr<const tb::ByteSource> bytes)
        : bytes_(std::move(bytes)), root_(std::move(root)), streamName_(std::move(streamName)),
          ctx_{std::move(file), "Workbook"}
    {
        // Listing reads the globals record by record, each where it lies in
        // the file, and stops at their EOF: the shared strings' bodies are
        // passed over, not gathered. Then the first records of each sheet.
        // The handle goes once the sheets are listed: libgsf keeps a list of
        // every sector of the stream for each.
        const auto stream = openWorkbookStream();
        noteDamagedStreams();
        {
            std::deque<std::vector<std::byte>> copies;
            StreamRecords records(*stream, static_cast<std::size_t>(stream->size()), copies, ctx_);
            globals_ = readGlobals(records, ctx_);
        }
        std::string lost;  // sheets the stream ends before (a file cut off)
        for (std::size_t i = 0; i < globals_.sheets.size(); ++i) {
            const SheetEntry& s = globals_.sheets[i];
            if (s.type != static_cast<std::uint8_t>(SheetType::Worksheet))
                continue;
            if (s.position >= stream->size()) {
                lost += (lost.empty() ? "'" : ", '") + toUtf8(s.name) + "'";
                continue;
            }
            const bool dialog = isDialogSheet(*stream, s);
            // Where the page cache holds the file in large folios, the kernel
            // maps a whole folio, up to 2 MB, for the few bytes read here:
            // kept, twenty sheets would hold 40 MB.
            bytes_->release();
            if (dialog)
                continue;
            worksheets_.push_back(i);
            names_.push_back(toUtf8(s.name));
        }
        if (!lost.empty())
            repairs_.add("the workbook stream ends before the worksheets " + lost + " begin; they are left out");
    }

    Family family() const override { return Family::Biff8; }
    const std::vector<std::string>& worksheetNames() const override { return names_; }
    SheetVisibility worksheetVisibility(std::size_t index) const override
    {
        switch (globals_.sheets[worksheets_.at(index)].state & 0x03) {
        case 0:
            return SheetVisibility::Visible;
        case 1:
            return SheetVisibility::Hidden;
        default:
            return SheetVisibility::VeryHidden;
        }
    }
    bool worksheetHasContent(std::size_t index) const override
    {
        return sheetHasContent(substreams(), globals_.sheets[worksheets_.at(index)].position, ctx_);
    }
    std::string fileExtension() const override { return "xls"; }

    std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const override
    {
        if (index >= worksheets_.size())
            throw tb::Error(tb::err::SubscriptOutOfRange, "'" + ctx_.file + "' has no worksheet number " +
                                                              std::to_string(index + 1) + ".");
        if (!parsed_) {
            // Read once for every sheet copied from this workbook: the
            // globals' records and the shared strings.
            auto parsed = std::make_unique<GlobalRecords>();
            const auto stream = openWorkbookStream();
            StreamRecords records(*stream, globals_.end, parsed->copies, ctx_);
            readGlobalRecords(records, *parsed, ctx_);
            if (parsed->strings.size() < parsed->strings.claimed())
                repairs_.add("the shared-string table ends early (" + std::to_string(parsed->strings.size()) +
                             " of the " + std::to_string(parsed->strings.claimed()) +
                             " strings it claims are there); cells that refer past them read as empty");
            parsed_ = std::move(parsed);
            // The whole string table was read to index it; a copy reads
            // again only the strings its sheet uses.
            bytes_->release();
        }
        SheetCopy copy = copySheet(globals_, *parsed_, worksheets_[index], substreams(), source, ctx_);
        if (copy.cutShort)
            repairs_.add("the worksheet '" + names_[index] + "' ends early, with the workbook stream; "
                         "its records up to there are copied");
        if (copy.emptiedCells != 0 && parsed_->strings.size() == parsed_->strings.claimed())
            repairs_.add("cells refer to shared strings past the end of the table; they read as empty");

        cfb::Node root;
        root.storage = true;
        root.classId = root_->classId();
        for (const std::string& name : root_->childNames()) {
            const std::string l = lower(name);
            if (l == lower(ctx_.stream)) {
                cfb::Node wb;
                wb.name = "Workbook";
                wb.data = std::move(copy.stream);
                root.children.push_back(std::move(wb));
            } else if (l == "_vba_project_cur" || l == "_vba_project" || unreadable_.count(name)) {
                continue;  // macros stay with the source, and what cannot be read is left out
            } else if (l == "objectpool") {
                auto pool = root_->openStorage(name);
                if (!pool)
                    continue;
                cfb::Node kept;
                kept.name = name;
                kept.storage = true;
                kept.classId = pool->classId();
                for (const std::string& child : pool->childNames()) {
                    std::uint32_t id = 0;
                    if (child.size() > 1 && child[0] == '_' &&
                        std::all_of(child.begin() + 1, child.end(), [](char c) { return c >= '0' && c <= '9'; })) {
                        try {
                            id = static_cast<std::uint32_t>(std::stoul(child.substr(1)));
                        } catch (...) {
                            continue;
                        }
                        if (copy.embeddings.count(id))
                            kept.children.push_back(cfb::readTree(*pool, child, ctx_.file));
                    }
                }
                if (!kept.children.empty())
                    root.children.push_back(std::move(kept));
            } else {
                // Summary information, CompObj and anything else the writer
                // put beside the workbook go with every copy as they are.
                root.children.push_back(cfb::readTree(*root_, name, ctx_.file));
            }
        }
        return std::make_unique<CompoundFileCopy>(Family::Biff8, std::move(root), names_[index], copy.values);
    }

    void save(tb::ByteSink&) const override
    {
        throw engineError(ctx_.file, "a workbook opened from a file is only read; save a copy of one of its sheets.");
    }

    std::vector<std::string> repairs() const override { return repairs_.list(); }

private:
    Substreams& substreams() const
    {
        if (!sheets_)
            sheets_ = std::make_unique<StreamSubstreams>(openWorkbookStream(), globals_);
        return *sheets_;
    }

    std::unique_ptr<cfb::Stream> openWorkbookStream() const
    {
        auto stream = root_->openStream(streamName_);
        if (!stream)
            throw damaged(ctx_.file, "compound file", "'" + streamName_ + "' is not a stream");
        return stream;
    }

    // What the compound file mended, and the streams beside the workbook
    // that cannot be read: a copy does without them.
    void noteDamagedStreams()
    {
        const auto leaveOut = [this](const std::string& name) {
            unreadable_.insert(name);
            std::string shown;
            for (char c : name)
                if (static_cast<unsigned char>(c) >= 32)
                    shown += c;
            repairs_.add("the stream '" + shown + "' is damaged; the copies are made without it");
        };
        // The workbook's stream is read as far as it goes; another one cut
        // short would be carried on as garbage.
        for (const auto& [stream, sentence] : root_->repairs()) {
            if (stream.empty() || lower(stream) == lower(streamName_))
                repairs_.add(sentence);
            else if (stream.find('/') == std::string::npos)
                leaveOut(stream);
        }
        for (const std::string& name : root_->childNames()) {
            if (lower(name) == lower(streamName_) || root_->isStorage(name) || unreadable_.count(name))
                continue;
            try {
                root_->openStream(name);
            } catch (const tb::Error&) {
                leaveOut(name);
            }
        }
    }

    // Dialog sheets share the worksheet type in BOUNDSHEET8; their WSBOOL
    // record, among the first of the sheet, tells them apart.
    static bool isDialogSheet(cfb::Stream& probe, const SheetEntry& s)
    {
        std::uint64_t pos = s.position;
        const std::uint64_t size = probe.size();
        std::vector<std::byte> h;
        for (int i = 0; i < kHeaderScan && pos + 4 <= size; ++i) {
            h.clear();
            probe.read(pos, 4, h);
            const std::uint16_t type = u16(h, 0), len = u16(h, 2);
            if (type == rt::WsBool && len >= 2 && pos + 4 + len <= size) {
                h.clear();
                probe.read(pos + 4, 2, h);
                return u16(h, 0) & kDialogBit;
            }
            if (i > 0 && (type == rt::Bof || type == rt::Eof))
                break;
            pos += 4 + len;
        }
        return false;
    }

    std::shared_ptr<const tb::ByteSource> bytes_;  // the file's, under root_
    std::unique_ptr<cfb::Storage> root_;
    std::string streamName_;
    StreamContext ctx_;
    Globals globals_;
    mutable std::unique_ptr<const GlobalRecords> parsed_;  // spans into the file's bytes and its own copies
    mutable std::unique_ptr<Substreams> sheets_;
    std::vector<std::size_t> worksheets_;  // index into globals_.sheets of each worksheet
    std::vector<std::string> names_;
    std::set<std::string> unreadable_;  // streams beside the workbook's that cannot be read
    mutable Repairs repairs_;
};

}  // namespace

std::unique_ptr<Document> openCompoundFile(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file)
{
    auto root = cfb::openCompoundFile(bytes, file);
    return openCompoundFile(std::move(root), std::move(bytes), file, {});
}

std::unique_ptr<Document> openCompoundFile(std::unique_ptr<cfb::Storage> root,
                                           std::shared_ptr<const tb::ByteSource> bytes, const std::string& file,
                                           const crypto::PasswordSupply& passwords)
{
    if (!findChild(*root, "EncryptedPackage").empty() || !findChild(*root, "EncryptionInfo").empty())
        throw refused(file, "is encrypted (password to open); encrypted workbooks cannot be read. "
                                "Save it without a password and try again.");
    const std::string name = findChild(*root, "Workbook");
    if (name.empty()) {
        if (const std::string book = findChild(*root, "Book"); !book.empty())
            return biff5::openBiff5(std::move(bytes), std::move(root), book, file);
        throw refused(file, "is not a workbook: the compound file holds no Workbook stream.");
    }
    if (biff5::holdsBiff5(*root, name))
        return biff5::openBiff5(std::move(bytes), std::move(root), name, file);
    if (auto stream = root->openStream(name); stream && crypto::hasFilePass(*stream)) {
        crypto::Bytes plain = crypto::decryptWorkbookStream(stream->view(0, stream->size()), file, passwords);
        root = crypto::withDecryptedStream(std::move(root), name, std::move(plain), file);
    }
    return std::make_unique<BiffSource>(std::move(root), name, file, std::move(bytes));
}

}  // namespace excel::biff
