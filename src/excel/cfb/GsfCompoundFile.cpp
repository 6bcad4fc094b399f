#include "GsfModule.h"

#include "AllocationCheck.h"

#include "excel/EngineError.h"

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-impl.h>
#include <gsf/gsf-output.h>
#include <gsf/gsf-utils.h>

#include <cstdint>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <mutex>
#include <pthread.h>

namespace excel::cfb {

namespace {

// Failed assertions libgsf reported on this thread. libgsf answers some
// damage (a sector past the end of the file, a directory entry larger than
// the file) only with such a report and then goes on without the part, so
// the count tells damage apart from a part that is not there.
// Per thread, in a thread-specific key rather than a thread_local: this
// module is loaded with dlopen, so a thread_local here would live in a
// dynamic TLS block, which LeakSanitizer's tracer fails to walk.
pthread_key_t gsfCriticalsKey;

unsigned gsfCriticals()
{
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(pthread_getspecific(gsfCriticalsKey)));
}

void countGsfCritical()
{
    pthread_setspecific(gsfCriticalsKey, reinterpret_cast<void*>(static_cast<std::uintptr_t>(gsfCriticals() + 1)));
}

void initGsf()
{
    static std::once_flag once;
    std::call_once(once, [] {
        pthread_key_create(&gsfCriticalsKey, nullptr);
        gsf_init();
        // libgsf reports damaged sector chains and directory entries as GLib
        // warnings and failed assertions before it fails or drops the entry;
        // the engine turns the outcome into its own error naming the file, so
        // these would only be noise on the terminal.
        for (const char* domain : {"libgsf:msole", "libgsf"})
            g_log_set_handler(domain,
                              GLogLevelFlags(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE |
                                             G_LOG_LEVEL_INFO),
                              [](const gchar*, GLogLevelFlags level, const gchar*, gpointer) {
                                  if (level & (G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING))
                                      countGsfCritical();
                              },
                              nullptr);
    });
}

// Owns one GObject reference.
template <typename T>
class GRef {
public:
    GRef() = default;
    explicit GRef(T* p) : p_(p) {}
    GRef(const GRef& o) : p_(o.p_) { if (p_) g_object_ref(p_); }
    GRef& operator=(const GRef& o)
    {
        if (this != &o) { reset(); p_ = o.p_; if (p_) g_object_ref(p_); }
        return *this;
    }
    ~GRef() { reset(); }
    void reset() { if (p_) g_object_unref(p_); p_ = nullptr; }
    T* get() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }

private:
    T* p_ = nullptr;
};

std::string gerrorText(GError* err)
{
    std::string s = err && err->message ? err->message : "unknown failure";
    if (err)
        g_error_free(err);
    return s;
}

// What every object of one open file shares: the bytes and libgsf's view of them.
struct OpenFile {
    std::shared_ptr<const tb::ByteSource> bytes;
    GRef<GsfInput> input;
    std::string file;
    AllocationFindings findings;  // what cannot be read, and what was mended
};

class GsfStream final : public Stream {
public:
    GsfStream(std::shared_ptr<OpenFile> f, GRef<GsfInput> in, std::string name)
        : file_(std::move(f)), in_(std::move(in)), name_(std::move(name))
    {
        size_ = static_cast<std::uint64_t>(gsf_input_size(in_.get()));
        // A stream can never hold more than the file: a larger size comes
        // from a damaged directory entry.
        if (size_ > file_->bytes->bytes().size())
            throw damaged(file_->file, "compound file, stream '" + name_ + "'",
                          "the directory gives " + std::to_string(size_) + " bytes in a file of " +
                              std::to_string(file_->bytes->bytes().size()));
    }

    std::uint64_t size() const override { return size_; }

    void read(std::uint64_t offset, std::size_t n, std::vector<std::byte>& out) override
    {
        if (!seek(offset, n))
            return;
        const std::size_t at = out.size();
        out.resize(at + n);
        const unsigned before = gsfCriticals();
        if (!gsf_input_read(in_.get(), n, reinterpret_cast<guint8*>(out.data() + at)) || gsfCriticals() != before) {
            out.resize(at);
            brokenChain(offset);
        }
    }

    std::span<const std::byte> view(std::uint64_t offset, std::size_t n) override
    {
        if (!seek(offset, n))
            return {};
        // Without a buffer of ours, libgsf answers with a pointer into the
        // file's bytes when the sectors are contiguous, and gathers them into
        // a buffer of its own, kept until the next read, when they are not.
        const unsigned before = gsfCriticals();
        const guint8* p = gsf_input_read(in_.get(), n, nullptr);
        if (!p || gsfCriticals() != before)
            brokenChain(offset);
        return {reinterpret_cast<const std::byte*>(p), n};
    }

    std::span<const std::byte> lasting(std::uint64_t offset, std::size_t n,
                                       std::deque<std::vector<std::byte>>& copies) override
    {
        const auto v = view(offset, n);
        const auto file = file_->bytes->bytes();
        const auto at = reinterpret_cast<std::uintptr_t>(v.data()), start = reinterpret_cast<std::uintptr_t>(file.data());
        if (v.empty() || (at >= start && at - start <= file.size() - v.size()))
            return v;  // libgsf answered with the file's own bytes
        copies.emplace_back(v.begin(), v.end());
        return copies.back();
    }

private:
    // Checks the range and goes to its start; false when it is empty.
    bool seek(std::uint64_t offset, std::size_t n)
    {
        if (offset > size_ || n > size_ - offset)
            throw damaged(file_->file, "compound file, stream '" + name_ + "'",
                          "expected " + std::to_string(n) + " bytes at offset " + std::to_string(offset) +
                              ", the stream has " + std::to_string(size_));
        if (n == 0)
            return false;
        if (gsf_input_seek(in_.get(), static_cast<gsf_off_t>(offset), G_SEEK_SET))
            throw damaged(file_->file, "compound file, stream '" + name_ + "'",
                          "cannot seek to offset " + std::to_string(offset));
        return true;
    }

    [[noreturn]] void brokenChain(std::uint64_t offset) const
    {
        throw damaged(file_->file, "compound file, stream '" + name_ + "'",
                      "its sectors cannot be read at offset " + std::to_string(offset) + " (broken sector chain)");
    }

    std::shared_ptr<OpenFile> file_;
    GRef<GsfInput> in_;
    std::string name_;
    std::uint64_t size_ = 0;
};

class GsfStorage final : public Storage {
public:
    GsfStorage(std::shared_ptr<OpenFile> f, GRef<GsfInfile> dir, std::string path)
        : file_(std::move(f)), dir_(std::move(dir)), path_(std::move(path))
    {
    }

    std::vector<std::string> childNames() const override
    {
        std::vector<std::string> names;
        const int n = gsf_infile_num_children(dir_.get());
        for (int i = 0; i < n; ++i)
            if (const char* name = gsf_infile_name_by_index(dir_.get(), i))
                names.emplace_back(name);
        return names;
    }

    bool isStorage(const std::string& name) const override
    {
        GRef<GsfInput> child(gsf_infile_child_by_name(dir_.get(), name.c_str()));
        return child && GSF_IS_INFILE(child.get()) && gsf_infile_num_children(GSF_INFILE(child.get())) >= 0;
    }

    std::unique_ptr<Stream> openStream(const std::string& name) const override
    {
        GRef<GsfInput> child(gsf_infile_child_by_name(dir_.get(), name.c_str()));
        if (!child || (GSF_IS_INFILE(child.get()) && gsf_infile_num_children(GSF_INFILE(child.get())) >= 0))
            return nullptr;
        const auto& unreadable = file_->findings.unreadable;
        if (const auto bad = unreadable.find(path_ + name); bad != unreadable.end())
            throw damaged(file_->file, "compound file", bad->second);
        return std::make_unique<GsfStream>(file_, child, path_ + name);
    }

    std::vector<std::pair<std::string, std::string>> repairs() const override { return file_->findings.repairs; }

    std::unique_ptr<Storage> openStorage(const std::string& name) const override
    {
        GsfInput* raw = gsf_infile_child_by_name(dir_.get(), name.c_str());
        if (!raw)
            return nullptr;
        if (!GSF_IS_INFILE(raw) || gsf_infile_num_children(GSF_INFILE(raw)) < 0) {
            g_object_unref(raw);
            return nullptr;
        }
        return std::make_unique<GsfStorage>(file_, GRef<GsfInfile>(GSF_INFILE(raw)), path_ + name + "/");
    }

    ClassId classId() const override
    {
        ClassId id{};
        if (GSF_IS_INFILE_MSOLE(dir_.get()))
            gsf_infile_msole_get_class_id(GSF_INFILE_MSOLE(dir_.get()), id.data());
        return id;
    }

private:
    std::shared_ptr<OpenFile> file_;
    GRef<GsfInfile> dir_;
    std::string path_;
};

// Hands libgsf's output on to a ByteSink. The compound-file writer puts out
// its tables four bytes at a time, so small writes are gathered; it goes back
// to the header at the very end, which becomes a rewrite of the sink.
class SinkWriter {
public:
    explicit SinkWriter(tb::ByteSink& sink) : sink_(sink) {}

    void write(std::uint64_t pos, std::span<const std::byte> bytes)
    {
        const std::uint64_t end = flushed_ + buffer_.size();
        if (pos > end)
            buffer_.resize(buffer_.size() + (pos - end));  // a gap reads as zeros
        if (pos < flushed_) {
            const auto n = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), flushed_ - pos));
            sink_.rewrite(pos, bytes.first(n));
            bytes = bytes.subspan(n);
            pos += n;
        }
        if (!bytes.empty() && pos < flushed_ + buffer_.size()) {
            const auto at = static_cast<std::size_t>(pos - flushed_);
            const std::size_t n = std::min(bytes.size(), buffer_.size() - at);
            std::memcpy(buffer_.data() + at, bytes.data(), n);
            bytes = bytes.subspan(n);
        }
        if (bytes.empty())
            return;
        if (buffer_.size() + bytes.size() > kGather) {
            flush();
            if (bytes.size() >= kGather) {
                sink_.write(bytes);
                flushed_ += bytes.size();
                return;
            }
        }
        buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
    }

    void flush()
    {
        if (buffer_.empty())
            return;
        sink_.write(buffer_);
        flushed_ += buffer_.size();
        buffer_.clear();
    }

    std::exception_ptr failure;  // of the sink, kept while libgsf unwinds

private:
    static constexpr std::size_t kGather = 64 * 1024;
    tb::ByteSink& sink_;
    std::vector<std::byte> buffer_;  // bytes after the first `flushed_`
    std::uint64_t flushed_ = 0;
};

}  // namespace
}  // namespace excel::cfb

// A GsfOutput over a SinkWriter. GsfOutput itself keeps the position, so a
// seek has nothing to do here and a write goes where it says.
struct TbSinkOutput {
    GsfOutput base;
    excel::cfb::SinkWriter* writer;
};
struct TbSinkOutputClass {
    GsfOutputClass base;
};
G_DEFINE_TYPE(TbSinkOutput, tb_sink_output, GSF_OUTPUT_TYPE)

static gboolean tbSinkWrite(GsfOutput* out, size_t n, const guint8* data)
{
    auto* writer = reinterpret_cast<TbSinkOutput*>(out)->writer;
    if (writer->failure)
        return FALSE;
    try {
        writer->write(static_cast<std::uint64_t>(out->cur_offset),
                      std::span<const std::byte>(reinterpret_cast<const std::byte*>(data), n));
        return TRUE;
    } catch (...) {
        writer->failure = std::current_exception();  // no exception may cross libgsf's C frames
        return FALSE;
    }
}

static gboolean tbSinkSeek(GsfOutput*, gsf_off_t, GSeekType) { return TRUE; }
static gboolean tbSinkClose(GsfOutput*) { return TRUE; }

static void tb_sink_output_init(TbSinkOutput* self) { self->writer = nullptr; }
static void tb_sink_output_class_init(TbSinkOutputClass* klass)
{
    klass->base.Write = tbSinkWrite;
    klass->base.Seek = tbSinkSeek;
    klass->base.Close = tbSinkClose;
}

namespace excel::cfb {
namespace {

// The sink's own error when it failed, else libgsf's failure as ours.
[[noreturn]] void failWriting(const SinkWriter& writer, const std::string& file, const std::string& what)
{
    if (writer.failure)
        std::rethrow_exception(writer.failure);
    throw engineError(file, what);
}

void writeNode(GsfOutfile* dir, const Node& node, const SinkWriter& writer, const std::string& file)
{
    for (const Node& child : node.children) {
        GRef<GsfOutput> out(gsf_outfile_new_child(dir, child.name.c_str(), child.storage));
        if (!out)
            failWriting(writer, file, "cannot write the part '" + child.name + "' of the compound file.");
        if (child.storage) {
            if (GSF_IS_OUTFILE_MSOLE(out.get()))
                gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(out.get()), child.classId.data());
            writeNode(GSF_OUTFILE(out.get()), child, writer, file);
        } else if (!child.data.empty() &&
                   !gsf_output_write(out.get(), child.data.size(), reinterpret_cast<const guint8*>(child.data.data()))) {
            failWriting(writer, file, "cannot write the stream '" + child.name + "' of the compound file.");
        }
        if (!gsf_output_close(out.get()))
            failWriting(writer, file, "cannot finish the part '" + child.name + "' of the compound file.");
    }
}

std::unique_ptr<Storage> gsfOpen(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file)
{
    initGsf();
    auto f = std::make_shared<OpenFile>();
    f->bytes = std::move(bytes);
    f->file = file;
    f->findings = checkAllocationTables(f->bytes->bytes(), file);
    if (!f->findings.mended.empty())
        f->bytes = std::make_shared<tb::MemorySource>(std::move(f->findings.mended));
    const auto b = f->bytes->bytes();
    f->input = GRef<GsfInput>(
        gsf_input_memory_new(reinterpret_cast<const guint8*>(b.data()), static_cast<gsf_off_t>(b.size()), FALSE));
    if (!f->input)
        throw engineError(file, "cannot be read as a compound file.");
    GError* err = nullptr;
    const unsigned before = gsfCriticals();
    GsfInfile* root = gsf_infile_msole_new(f->input.get(), &err);
    if (!root)
        throw damaged(file, "compound file header", gerrorText(err));
    if (err)
        g_error_free(err);
    if (gsfCriticals() != before) {
        g_object_unref(root);
        throw damaged(file, "compound file directory",
                      "an entry lies beyond the end of the file or is larger than the file (the file is cut off or damaged)");
    }
    // The allocation tables and the directory are read and kept. Their
    // sectors lie all over a large file (a DIFAT sector every 8 MB), and
    // where the page cache holds it in large folios, each read mapped a
    // whole folio of up to 2 MB.
    f->bytes->release();
    return std::make_unique<GsfStorage>(f, GRef<GsfInfile>(root), "");
}

void gsfWrite(const Node& root, tb::ByteSink& sink, const std::string& file)
{
    initGsf();
    SinkWriter writer(sink);
    auto* raw = static_cast<TbSinkOutput*>(g_object_new(tb_sink_output_get_type(), nullptr));
    raw->writer = &writer;
    GRef<GsfOutput> out(GSF_OUTPUT(raw));
    {
        GRef<GsfOutfile> ole(gsf_outfile_msole_new(out.get()));
        if (!ole)
            failWriting(writer, file, "cannot start writing a compound file.");
        gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(ole.get()), root.classId.data());
        writeNode(ole.get(), root, writer, file);
        if (!gsf_output_close(GSF_OUTPUT(ole.get())))
            failWriting(writer, file, "cannot finish writing the compound file.");
    }
    if (writer.failure)
        std::rethrow_exception(writer.failure);
    writer.flush();  // closing the compound file has closed `out` too
}

}  // namespace

}  // namespace excel::cfb

extern "C" __attribute__((visibility("default"))) const excel::cfb::GsfFunctions* tamberlin_cfb_functions()
{
    static const excel::cfb::GsfFunctions functions{excel::cfb::kGsfModuleVersion, excel::cfb::gsfOpen,
                                                    excel::cfb::gsfWrite};
    return &functions;
}
