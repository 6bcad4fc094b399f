#include "CompoundFile.h"

#include "AllocationCheck.h"

#include "excel/EngineError.h"

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-memory.h>
#include <gsf/gsf-utils.h>

#include <initializer_list>
#include <mutex>

namespace excel::cfb {

namespace {

// Failed assertions libgsf reported on this thread. libgsf answers some
// damage (a sector past the end of the file, a directory entry larger than
// the file) only with such a report and then goes on without the part, so
// the count tells damage apart from a part that is not there.
thread_local unsigned gsfCriticals = 0;

void initGsf()
{
    static std::once_flag once;
    std::call_once(once, [] {
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
                                      ++gsfCriticals;
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
        if (offset > size_ || n > size_ - offset)
            throw damaged(file_->file, "compound file, stream '" + name_ + "'",
                          "expected " + std::to_string(n) + " bytes at offset " + std::to_string(offset) +
                              ", the stream has " + std::to_string(size_));
        if (n == 0)
            return;
        if (gsf_input_seek(in_.get(), static_cast<gsf_off_t>(offset), G_SEEK_SET))
            throw damaged(file_->file, "compound file, stream '" + name_ + "'",
                          "cannot seek to offset " + std::to_string(offset));
        const std::size_t at = out.size();
        out.resize(at + n);
        const unsigned before = gsfCriticals;
        if (!gsf_input_read(in_.get(), n, reinterpret_cast<guint8*>(out.data() + at)) || gsfCriticals != before) {
            out.resize(at);
            throw damaged(file_->file, "compound file, stream '" + name_ + "'",
                          "its sectors cannot be read at offset " + std::to_string(offset) +
                              " (broken sector chain)");
        }
    }

private:
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
        return std::make_unique<GsfStream>(file_, child, path_ + name);
    }

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

void writeNode(GsfOutfile* dir, const Node& node, const std::string& file)
{
    for (const Node& child : node.children) {
        GRef<GsfOutput> out(gsf_outfile_new_child(dir, child.name.c_str(), child.storage));
        if (!out)
            throw engineError(file, "cannot write the part '" + child.name + "' of the compound file.");
        if (child.storage) {
            if (GSF_IS_OUTFILE_MSOLE(out.get()))
                gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(out.get()), child.classId.data());
            writeNode(GSF_OUTFILE(out.get()), child, file);
        } else if (!child.data.empty() &&
                   !gsf_output_write(out.get(), child.data.size(), reinterpret_cast<const guint8*>(child.data.data()))) {
            throw engineError(file, "cannot write the stream '" + child.name + "' of the compound file.");
        }
        if (!gsf_output_close(out.get()))
            throw engineError(file, "cannot finish the part '" + child.name + "' of the compound file.");
    }
}

}  // namespace

std::unique_ptr<Storage> openCompoundFile(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file)
{
    initGsf();
    auto f = std::make_shared<OpenFile>();
    f->bytes = std::move(bytes);
    f->file = file;
    const auto b = f->bytes->bytes();
    checkAllocationTables(b, file);
    f->input = GRef<GsfInput>(
        gsf_input_memory_new(reinterpret_cast<const guint8*>(b.data()), static_cast<gsf_off_t>(b.size()), FALSE));
    if (!f->input)
        throw engineError(file, "cannot be read as a compound file.");
    GError* err = nullptr;
    const unsigned before = gsfCriticals;
    GsfInfile* root = gsf_infile_msole_new(f->input.get(), &err);
    if (!root)
        throw damaged(file, "compound file header", gerrorText(err));
    if (err)
        g_error_free(err);
    if (gsfCriticals != before) {
        g_object_unref(root);
        throw damaged(file, "compound file directory",
                      "an entry lies beyond the end of the file or is larger than the file (the file is cut off or damaged)");
    }
    return std::make_unique<GsfStorage>(f, GRef<GsfInfile>(root), "");
}

Node readTree(const Storage& parent, const std::string& name, const std::string& file)
{
    Node node;
    node.name = name;
    if (auto st = parent.openStorage(name)) {
        node.storage = true;
        node.classId = st->classId();
        for (const std::string& child : st->childNames())
            node.children.push_back(readTree(*st, child, file));
        return node;
    }
    auto s = parent.openStream(name);
    if (!s)
        throw damaged(file, "compound file", "the entry '" + name + "' cannot be opened");
    s->read(0, static_cast<std::size_t>(s->size()), node.data);
    return node;
}

void writeCompoundFile(const Node& root, tb::ByteSink& sink, const std::string& file)
{
    initGsf();
    GRef<GsfOutput> mem(gsf_output_memory_new());
    {
        GRef<GsfOutfile> ole(gsf_outfile_msole_new(mem.get()));
        if (!ole)
            throw engineError(file, "cannot start writing a compound file.");
        gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(ole.get()), root.classId.data());
        writeNode(ole.get(), root, file);
        if (!gsf_output_close(GSF_OUTPUT(ole.get())))
            throw engineError(file, "cannot finish writing the compound file.");
    }
    const auto size = gsf_output_size(mem.get());
    const guint8* data = gsf_output_memory_get_bytes(GSF_OUTPUT_MEMORY(mem.get()));
    if (size > 0 && data)
        sink.write(std::span<const std::byte>(reinterpret_cast<const std::byte*>(data), static_cast<std::size_t>(size)));
}

}  // namespace excel::cfb
